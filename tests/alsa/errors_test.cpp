// SPDX-License-Identifier: MIT

// Devices that cannot be had, and the list of those that may be.

#include <gtest/gtest.h>

#include "tests/alsa/AlsaTest.h"

namespace {

class DevicesOfAlsa : public AlsaTest {
 protected:
  const Wave m_in = noise({16, false, 2, 48000}, 9600);
};

TEST_F(DevicesOfAlsa, thatCannotBeHadAreToldInOneSentence) {
  define("taken", "busy_from 0");
  define("taken_meanwhile", "busy_from 1");
  define("narrow", "formats U8");
  define("stuck", "hang yes");
  struct Case {
    std::string name;
    const char* says;
    OSStatus attachStatus;  // noErr: not asked here
  };
  for (const Case& each :
       {Case{"taken",
             "'alsa:taken' cannot be opened: Device or resource busy (the bench is taken). "
             "Another program",
             kAudioDevicePermissionsError},
        {"taken_meanwhile", "Another program is using it", noErr},
        {"nowhere", "No such file or directory (Unknown PCM nowhere)",
         kAudioHardwareBadDeviceError},
        {"narrow", "takes no samples of 16, 24 or 32 bits", kAudioDeviceUnsupportedFormatError},
        {"stuck", "'alsa:stuck' does not answer", noErr}}) {
    EXPECT_TRUE(saysInOneLine(playOn("alsa:" + each.name, m_in), 4, each.says));
    if (each.attachStatus != noErr) {
      AudioDevices::Failure failure;
      EXPECT_EQ(AudioDevices::attach("alsa:" + each.name, &failure), kAudioObjectUnknown);
      EXPECT_EQ(failure.status, each.attachStatus) << each.name;
    }
  }
}

TEST_F(DevicesOfAlsa, areListedByTheirHintsWithoutBeingOpened) {
  define("speaker", "hang yes hint { show on description \"A speaker\nin the kitchen\" }");
  define("unnamed");
  const Result text = play({"--list-devices"});
  EXPECT_EQ(text.status, 0) << text.err;
  EXPECT_EQ(text.err, "");
  EXPECT_TRUE(says(text.out, "alsa:speaker  A speaker in the kitchen  (not opened"));
  EXPECT_FALSE(says(text.out, "unnamed"));
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
  const Result result = playOn("auto", m_in);
  EXPECT_TRUE(saysInOneLine(result, 0, "playing on alsa:default: no sound server"));
  EXPECT_TRUE(liesIn(played("default"), m_in.data, 4));
}

TEST_F(DevicesOfAlsa, aFileIsWrittenWhereTheDefaultOneIsTaken) {
  define("default", "busy_from 0");
  const Result result = playOn("auto", m_in);
  EXPECT_TRUE(
      saysInOneLine(result, 0, "no audio device, so writing in-2.wav instead: no sound server"));
  EXPECT_TRUE(says(result.err, "'alsa:default' cannot be opened"));
  EXPECT_TRUE(isExactly(readWave(path("in-2.wav")), m_in.data));
}

}  // namespace
