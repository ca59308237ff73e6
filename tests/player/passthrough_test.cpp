// SPDX-License-Identifier: MIT

// AC-3 that goes to a file device as it is, and what a receiver finds there.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "tests/support/Workbench.h"

namespace {

using nlohmann::json;

class Passthrough : public Workbench {
 protected:
  /// Plays with the totals as JSON, into out.spdif unless told otherwise.
  Result playBursts(Words arguments, const std::string& device = "file:out.spdif") {
    arguments.insert(arguments.begin(), {"--device", device, "--json", "totals"});
    const Result result = play(arguments);
    totals = Workbench::totals();
    return result;
  }

  void expectCounts(std::uint64_t frames) const {
    const json& bursts = totals["passthrough"];
    for (const char* count : {"frames_read", "bursts_handed_over", "bursts_accepted"}) {
      EXPECT_EQ(bursts[count], frames) << count;
    }
    EXPECT_EQ(bursts["violations"], 0);
    EXPECT_EQ(totals["buffers"]["dropped_late"], 0);
    EXPECT_EQ(totals["buffers"]["balanced"], true);
  }

  json totals;
};

TEST_F(Passthrough, everyRateAndLayoutArrivesFrameForFrame) {
  for (const Ac3Shape& shape : {Ac3Shape{48000, 2, 192},
                                {48000, 6, 640},
                                {48000, 1, 32, 0.03},
                                {44100, 2, 128},
                                {44100, 6, 448},
                                {32000, 2, 96},
                                {32000, 6, 384}}) {
    encode("in.ac3", shape);
    const Bytes in = readFile(path("in.ac3"));
    const Result raw = playBursts({"-q", "in.ac3"});
    ASSERT_EQ(raw.status, 0) << raw.err;
    EXPECT_EQ(raw.err, "");
    const Bytes bursts = readFile(path("out.spdif"));
    EXPECT_TRUE(received("out.spdif") == in) << shape.rate << " " << shape.channels;
    expectCounts(bursts.size() / kBurstBytes);
    EXPECT_EQ(totals["passthrough"]["pauses"], 0);

    const Result dressed = playBursts({"--passthrough", "on", "in.ac3"}, "file:out.wav");
    ASSERT_EQ(dressed.status, 0) << dressed.err;
    const Wave wave = readWave(path("out.wav"));
    EXPECT_EQ(wave.shape, (WaveShape{16, false, 2, shape.rate}));
    EXPECT_TRUE(wave.data == bursts) << shape.rate << " " << shape.channels;
  }
}

TEST_F(Passthrough, tracksOfAnyContainerFollowWithoutAGap) {
  encode("in.ac3", {});
  encode("surround.ac3", {48000, 6, 448});
  const Bytes in = readFile(path("in.ac3"));
  for (const char* name : {"in.mkv", "in.mp4", "in.ts"}) {
    ffmpeg({"-i", "in.ac3", "-c", "copy", name});
  }
  const Result result = playBursts({"--loop", "2", "in.mkv", "in.mp4", "surround.ac3", "in.ts"});
  ASSERT_EQ(result.status, 0) << result.err;
  const std::vector<Bytes> once{in, in, readFile(path("surround.ac3")), in};
  EXPECT_TRUE(received("out.spdif") == joined({joined(once), joined(once)}));
  EXPECT_EQ(totals["passthrough"]["pauses"], 0);
}

TEST_F(Passthrough, partsAreCutToWholeFrames) {
  encode("in.ac3", {48000, 2, 192, 2});
  const std::vector<Bytes> frames = framesIn(readFile(path("in.ac3")), 768);
  ASSERT_EQ(playBursts({"--start", "0.5", "--length", "0.268", "in.ac3"}).status, 0);
  const auto first = frames.begin() + 24000 / 1536;
  const auto end = frames.begin() + (24000 + 12864) / 1536;
  EXPECT_TRUE(received("out.spdif") == joined({first, end}));
}

// By its own clock the player would drop bursts as late on the slow device, after two minutes.
TEST_F(Passthrough, minutesOnADeviceThatIsFarOffDropNothing) {
  std::filesystem::create_symlink("/dev/null", path("null.spdif"));
  encode("slow-reader.ac3", {48000, 1, 32, 36});
  encode("long.ac3", {32000, 1, 32, 36});
  struct Case {
    const char* file;
    const char* drift;
    std::uint64_t frames;
  };
  for (const Case& each : {Case{"slow-reader.ac3", "3000", 11250},
                           {"slow-reader.ac3", "-3000", 11250},
                           {"long.ac3", "-3000", 7500}}) {
    const Result result =
        playBursts({"--file-drift-ppm", each.drift, "--loop", "10", each.file}, "file:null.spdif");
    ASSERT_EQ(result.status, 0) << result.err;
    expectCounts(each.frames);
    EXPECT_NEAR(totals["graph_ms"].get<double>(), 360e3, 100);
    const double off = 360e3 * (std::stod(each.drift) / 1e6);
    EXPECT_NEAR(totals["host_ms"].get<double>(), 360e3 - off, 200);
  }
}

TEST_F(Passthrough, burstsThatAPauseTakesBackAreSentAgain) {
  for (const Ac3Shape& shape : {Ac3Shape{48000, 2, 192, 3}, {32000, 6, 384, 3}}) {
    encode("in.ac3", shape);
    for (const char* at : {"0", "1.1", "2.5"}) {
      const Result result = playBursts({"--pause-at", at, "--pause-for", "0.7", "in.ac3"});
      ASSERT_EQ(result.status, 0) << result.err;
      EXPECT_TRUE(received("out.spdif") == readFile(path("in.ac3"))) << at;
      expectCounts(3 * shape.rate / 1536 + (3 * shape.rate % 1536 != 0 ? 1 : 0));
      const json& bursts = totals["passthrough"];
      EXPECT_EQ(bursts["sent_again"], totals["buffers"]["cleared"]);
      EXPECT_GT(bursts["sent_again"], 0);
      EXPECT_NEAR(bursts["pauses"].get<double>(), 0.7 * shape.rate / 1536, 2);
    }
  }
}

}  // namespace
