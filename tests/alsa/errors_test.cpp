// Devices that cannot be had, and the list of those that may be.

#include <gtest/gtest.h>

#include "tests/alsa/AlsaTest.h"

namespace {

class DevicesOfAlsa : public AlsaTest {
 protected:
  DevicesOfAlsa() { writeWave(path("in.wav"), m_in); }

  Result playOnly(const std::string& name) { return play({"--device", "alsa:" + name, "in.wav"}); }

  static OSStatus statusOfAttach(const std::string& name) {
    AudioDevices::Failure failure;
    EXPECT_EQ(AudioDevices::attach("alsa:" + name, &failure), kAudioObjectUnknown);
    return failure.status;
  }

  const Wave m_in = noise({16, false, 2, 48000}, 9600);
};

TEST_F(DevicesOfAlsa, thatCannotBeHadAreToldInOneSentence) {
  define("taken", "busy_from 0");
  define("taken_meanwhile", "busy_from 1");
  define("narrow", "formats U8");
  define("stuck", "hang yes");
  EXPECT_TRUE(toldInOneLine(playOnly("taken"),
                            "'alsa:taken' cannot be opened: Device or resource "
                            "busy (the bench is taken). Another program"));
  EXPECT_TRUE(toldInOneLine(playOnly("taken_meanwhile"), "Another program is using it"));
  EXPECT_TRUE(
      toldInOneLine(playOnly("nowhere"), "No such file or directory (Unknown PCM nowhere)"));
  EXPECT_TRUE(toldInOneLine(playOnly("narrow"), "takes no samples of 16, 24 or 32 bits"));
  EXPECT_TRUE(toldInOneLine(playOnly("stuck"), "'alsa:stuck' does not answer"));
  EXPECT_EQ(statusOfAttach("taken"), kAudioDevicePermissionsError);
  EXPECT_EQ(statusOfAttach("nowhere"), kAudioHardwareBadDeviceError);
  EXPECT_EQ(statusOfAttach("narrow"), kAudioDeviceUnsupportedFormatError);
}

TEST_F(DevicesOfAlsa, areListedByTheirHintsWithoutBeingOpened) {
  define("speaker", "hang yes hint { show on description \"A speaker\nin the kitchen\" }");
  define("unnamed");
  const Result text = play({"--list-devices"});
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.err, "");
  EXPECT_NE(text.out.find("alsa:speaker  A speaker in the kitchen  (not opened"), std::string::npos)
      << text.out;
  EXPECT_EQ(text.out.find("unnamed"), std::string::npos) << text.out;
  ASSERT_EQ(play({"--list-devices", "--json", "list"}).status, 0);
  const auto list = nlohmann::json::parse(readFile(path("list")));
  EXPECT_TRUE(list["devices"].empty());
  ASSERT_EQ(list["unopened"].size(), 1U);
  EXPECT_EQ(list["unopened"][0]["identifier"], "alsa:speaker");
  EXPECT_EQ(list["unopened"][0]["name"], "A speaker in the kitchen");
  EXPECT_TRUE(list["no_alsa"].is_null());
}

TEST_F(DevicesOfAlsa, behindAPlugHaveItsSamplesButTheirOwnChannelsAndRates) {
  define("narrow", "channels 2 rate 48000 formats S16_LE");
  configure("pcm.plugged { type plug slave.pcm narrow }\n");
  ASSERT_EQ(play({"--device", "alsa:plugged", "--explain-passthrough", "--json", "it"}).status, 0);
  const auto report = nlohmann::json::parse(readFile(path("it")));
  ASSERT_EQ(report["streams"][0]["formats"].size(), 4U);
  for (const auto& format : report["streams"][0]["formats"]) {
    EXPECT_EQ(format["channels"], 2);
    EXPECT_EQ(format["lowest_rate"], 48000);
    EXPECT_EQ(format["highest_rate"], 48000);
  }
}

TEST_F(DevicesOfAlsa, theDefaultOneIsPlayedOnWithoutAServer) {
  define("default");
  const Result result = play({"in.wav"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.errorLines(), 1U) << result.err;
  EXPECT_NE(result.err.find("playing on alsa:default: no sound server"), std::string::npos)
      << result.err;
  EXPECT_TRUE(liesIn(played("default"), m_in.data, 4));
}

TEST_F(DevicesOfAlsa, aFileIsWrittenWhereTheDefaultOneIsTaken) {
  define("default", "busy_from 0");
  const Result result = play({"in.wav"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.errorLines(), 1U) << result.err;
  EXPECT_NE(result.err.find("so writing in-2.wav instead: no sound server"), std::string::npos)
      << result.err;
  EXPECT_NE(result.err.find("'alsa:default' cannot be opened"), std::string::npos) << result.err;
  EXPECT_TRUE(isExactly(readWave(path("in-2.wav")), m_in.data));
}

}  // namespace
