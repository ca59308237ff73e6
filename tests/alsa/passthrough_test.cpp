// AC-3 to a digital output: told by the channel status that it is not audio, and byte for byte.

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "tests/alsa/AlsaTest.h"

namespace {

class PassthroughOnAlsa : public AlsaTest {
 protected:
  /// A digital output that plays into files named by the channel status it was opened with.
  void defineDigital(const std::string& name) {
    std::string text = "pcm." + name + " {\n  @args [ CARD AES0 AES1 AES2 AES3 ]\n";
    text += "  @args.CARD { type string default \"0\" }\n";
    for (const char* status : {"AES0", "AES1", "AES2", "AES3"}) {
      text += "  @args." + std::string(status) + " { type integer default 1 }\n";
    }
    configure(text + "  type bench\n  file { @func concat strings [ \"" + path("") +
              "\" $AES0 \"-\" $AES1 \"-\" $AES2 \"-\" $AES3 \".raw\" ] }\n}\n");
  }

  void encode(unsigned rate = 48000) {
    ffmpeg({"-f", "lavfi", "-i", "anoisesrc=seed=1:amplitude=0.3:r=" + std::to_string(rate), "-t",
            "0.7", "-ac", "2", "-c:a", "ac3", "-b:a", "192k", "in.ac3"});
    ffmpeg({"-i", "in.ac3", "-c:a", "copy", "-f", "spdif", "in.spdif"});
  }
};

constexpr const char* kAsPcm = "1-1-1-1";

TEST_F(PassthroughOnAlsa, thePlayersAc3ArrivesAsTheBurstsOfTheFileAndPcmAfterIt) {
  defineDigital("hdmi");
  for (const auto& [rate, file] :
       {std::pair{48000U, "6-130-0-2"}, {44100U, "6-130-0-0"}, {32000U, "6-130-0-3"}}) {
    encode(rate);
    const Result result = play({"--device", "alsa:hdmi:CARD=1", "--passthrough", "on", "in.ac3"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(liesIn(played(file), readFile(path("in.spdif")), 4)) << rate;
  }
  EXPECT_TRUE(played(kAsPcm).empty());
  const Wave in = noise({16, false, 2, 48000}, 9600);
  EXPECT_EQ(playOn("hdmi", in).status, 0);
  EXPECT_TRUE(liesIn(played(kAsPcm), in.data, 4));
}

TEST_F(PassthroughOnAlsa, anOutputThatCannotBeToldGetsItDecoded) {
  define("iec958plain");
  define("analog");
  encode();
  for (const char* name : {"iec958plain", "analog"}) {
    const Result result = play({"--device", std::string("alsa:") + name, "in.ac3"});
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.errorLines(), 1U) << result.err;
    EXPECT_NE(result.err.find("decoded"), std::string::npos) << result.err;
    EXPECT_GT(played(name).size(), std::size_t{4 * 48000 * 6 / 10});
  }
}

}  // namespace
