// SPDX-License-Identifier: MIT

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
};

constexpr const char* kAsPcm = "1-1-1-1";

TEST_F(PassthroughOnAlsa, thePlayersAc3ArrivesAsTheBurstsOfTheFileAndPcmAfterIt) {
  defineDigital("hdmi");
  for (const auto& [rate, file] :
       {std::pair{48000U, "6-130-0-2"}, {44100U, "6-130-0-0"}, {32000U, "6-130-0-3"}}) {
    encode("in.ac3", {rate, 2, 192, 0.7});
    const Result result = play({"--device", "alsa:hdmi:CARD=1", "--passthrough", "on", "in.ac3"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(liesIn(played(file), burstsOf("in.ac3"), 4)) << rate;
  }
  EXPECT_TRUE(played(kAsPcm).empty());
  const Wave in = noise({16, false, 2, 48000}, 9600);
  EXPECT_EQ(playOn("alsa:hdmi", in).status, 0);
  EXPECT_TRUE(liesIn(played(kAsPcm), in.data, 4));
}

TEST_F(PassthroughOnAlsa, anOutputThatCannotBeToldGetsItDecoded) {
  define("iec958plain");
  define("analog");
  encode("in.ac3", {});
  for (const char* name : {"iec958plain", "analog"}) {
    const Result result = play({"--device", std::string("alsa:") + name, "in.ac3"});
    EXPECT_TRUE(saysInOneLine(result, 0, "decoded"));
    EXPECT_GT(played(name).size(), std::size_t{4 * 48000 * 9 / 10});
  }
}

}  // namespace
