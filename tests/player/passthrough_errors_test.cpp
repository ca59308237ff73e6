// SPDX-License-Identifier: MIT

// Inputs that cannot go to the device as they are, wholly or at all, and why.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Workbench.h"

namespace {

using nlohmann::json;

class PassthroughErrors : public Workbench {
 protected:
  static constexpr std::size_t kFrameBytes = 768;  // 192 kbit/s at 48 kHz

  void SetUp() override {
    encode("good.ac3", {});
    encode("other.ac3", {44100, 2, 128});
    encode("surround.ac3", {48000, 6, 448});
    writeWave(path("sound.wav"), noise({16, false, 2, 48000}, 9600));
    ffmpeg({"-i", "sound.wav", "-c:a", "eac3", "enhanced.eac3"});
    ffmpeg({"-i", "sound.wav", "-c:a", "dca", "-strict", "-2", "sound.dts"});
  }

  /// A good file with a piece changed.
  template <class Change>
  void damage(const std::string& name, Change change) {
    Bytes bytes = readFile(path("good.ac3"));
    change(bytes);
    writeFile(path(name), bytes);
  }
};

TEST_F(PassthroughErrors, whatIsDamagedIsLeftOutAndTheRestArrives) {
  const Bytes good = readFile(path("good.ac3"));
  const std::vector<Bytes> frames = framesIn(good, kFrameBytes);
  std::vector<Bytes> without = frames;
  without.erase(without.begin() + 10);
  damage("truncated.ac3", [](Bytes& bytes) { bytes.resize(20 * kFrameBytes + 500); });
  damage("first-part.ac3", [](Bytes& bytes) { bytes[10 * kFrameBytes + 100] ^= 4; });
  damage("last-part.ac3", [](Bytes& bytes) { bytes[10 * kFrameBytes + 700] ^= 4; });
  damage("unsynced.ac3", [](Bytes& bytes) { bytes[10 * kFrameBytes] = 0; });
  damage("junk.ac3", [](Bytes& bytes) {
    bytes.insert(bytes.begin() + 10 * static_cast<std::ptrdiff_t>(kFrameBytes), 1000, 0x5a);
  });
  writeFile(path("changing.ac3"), joined({good, readFile(path("other.ac3"))}));
  struct Case {
    const char* file;
    Bytes arrives;
    const char* says;
  };
  for (const Case& each :
       {Case{"truncated.ac3", joined({frames.begin(), frames.begin() + 20}), "incomplete"},
        {"first-part.ac3", joined(without), "checksum"},
        {"last-part.ac3", joined(without), "checksum"},
        {"unsynced.ac3", joined(without), "sync"},
        {"junk.ac3", good, "sync"},
        {"changing.ac3", good, "changes from 48000 to 44100"}}) {
    const Result result = play({"-q", "--device", "file:out.spdif", each.file});
    EXPECT_TRUE(saysInOneLine(result, 3, each.says)) << each.file;
    EXPECT_TRUE(received("out.spdif") == each.arrives) << each.file;

    const Result decoded = play({"--device", "file:out.wav", "--passthrough", "off", each.file});
    const bool isWhole = each.file == std::string("changing.ac3");
    EXPECT_EQ(decoded.status, isWhole ? 0 : 3) << each.file << decoded.err;
    EXPECT_GE(readWave(path("out.wav")).frames(), 19 * 1536u) << each.file;
  }
}

TEST_F(PassthroughErrors, anotherChannelCountIsStillTheSameCarrierAndTheVolumeDoesNothing) {
  const Bytes both = joined({readFile(path("good.ac3")), readFile(path("surround.ac3"))});
  writeFile(path("both.ac3"), both);
  const Result result = play({"--device", "file:out.spdif", "--volume", "30", "both.ac3"});
  EXPECT_TRUE(saysInOneLine(result, 0, "volume"));
  EXPECT_TRUE(received("out.spdif") == both);
}

TEST_F(PassthroughErrors, whatCannotBePassedThroughIsDecodedOrRefusedWithTheReason) {
  struct Case {
    Words arguments;
    int status;
    std::size_t lines;
    const char* says;
  };
  const std::string bursts = "file:out.spdif";
  const std::string sound = "file:out.wav";
  for (const Case& each : {
           Case{{"--device", sound, "good.ac3"}, 0, 1, "offers no AC-3"},
           {{"--device", sound, "enhanced.eac3"}, 0, 1, "E-AC-3, not AC-3"},
           {{"--device", sound, "sound.dts"}, 0, 1, "DTS, not AC-3"},
           {{"--device", sound, "sound.wav"}, 0, 0, ""},
           {{"--device", sound, "--passthrough", "off", "good.ac3"}, 0, 0, ""},
           {{"--device", sound, "--passthrough", "on", "enhanced.eac3"}, 1, 1, "E-AC-3, not AC-3"},
           {{"--device", sound, "--passthrough", "on", "good.ac3", "sound.wav"}, 1, 1, "sound.wav"},
           {{"--device", bursts, "enhanced.eac3"}, 1, 1, "E-AC-3, not AC-3"},
           {{"--device", bursts, "sound.wav"}, 1, 1, "sound.wav"},
           {{"--device", bursts, "--passthrough", "off", "good.ac3"}, 1, 1, "off"},
       }) {
    writeFile(path("out.spdif"), Bytes(100, 1));
    std::filesystem::remove(path("out.wav"));
    const Result result = play(each.arguments);
    const std::string what = each.arguments.back() + " to " + each.arguments[1] + ": " + result.err;
    EXPECT_EQ(result.status, each.status) << what;
    EXPECT_EQ(result.errorLines(), each.lines) << what;
    EXPECT_TRUE(says(result.err, each.says)) << what;
    if (result.status == 0) {
      EXPECT_GE(readWave(path("out.wav")).frames(), 9600u) << what;
    }
    EXPECT_EQ(readFile(path("out.spdif")), Bytes(100, 1)) << what;
  }
}

TEST_F(PassthroughErrors, aNamedFileIsListedAndExplainedFormatByFormatAndStaysAsItIs) {
  writeFile(path("out.spdif"), Bytes(100, 1));
  const auto ask = [this](Words arguments) {
    arguments.insert(arguments.begin(), {"--device", "file:out.spdif"});
    const Result result = play(arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    return result.out;
  };
  const json file = json::parse(ask({"--list-devices", "--json", "-"}))["devices"].back();
  EXPECT_EQ(file["identifier"], "file:out.spdif");
  EXPECT_EQ(file["layout"], (json{"L", "R"}));
  EXPECT_EQ(file["channels"], 2);
  EXPECT_TRUE(says(ask({"--list-devices"}), "L R, 2 channels"));

  const json report = json::parse(ask({"--explain-passthrough", "--json", "-", "other.ac3"}));
  EXPECT_EQ(report["device"]["identifier"], "file:out.spdif");
  EXPECT_EQ(report["input"]["passed_through"], true);
  std::vector<double> offered;
  std::vector<double> accepted;
  for (const json& format : report["streams"][0]["formats"]) {
    EXPECT_EQ(format["accepted"].get<bool>(), format["reason"] == "");
    if (format["kind"] == "AC-3") {
      offered.push_back(format["rate"]);
    }
    if (format["accepted"].get<bool>()) {
      EXPECT_EQ(format["kind"], "AC-3");
      accepted.push_back(format["rate"]);
    }
  }
  EXPECT_EQ(offered.size(), 3u);
  EXPECT_EQ(file["streams"][0]["formats"].size(), report["streams"][0]["formats"].size());
  EXPECT_EQ(accepted, std::vector<double>{44100});

  const std::string text = ask({"--explain-passthrough"});
  EXPECT_TRUE(says(text, "32000 Hz: accepted"));
  EXPECT_TRUE(says(text, "PCM only"));
  EXPECT_EQ(readFile(path("out.spdif")), Bytes(100, 1));
}

}  // namespace
