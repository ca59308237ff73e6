// SPDX-License-Identifier: MIT

// Which devices there are, and what is said where there is no server.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/server/ServerTest.h"

namespace fs = std::filesystem;

namespace {

class DevicesOfAServer : public ServerTest {};

TEST_F(DevicesOfAServer, areItsSinksAndTheDefaultOneIsMarked) {
  startServer({{"one", {16, false, 2, 44100}}, {"two", {16, false, 6, 48000}}});
  pactl({"set-default-sink", "two"});
  const Result result = play({"--list-devices"});
  EXPECT_EQ(result.status, 0);
  EXPECT_TRUE(says(result.out, "  pulse:one"));
  EXPECT_TRUE(says(result.out, "* pulse:two"));
  EXPECT_TRUE(says(result.out, "(44100 Hz, L R, 2 channels"));
  EXPECT_TRUE(says(result.out, "6 channels"));
}

TEST_F(DevicesOfAServer, anUnknownNameIsToldWithOrWithoutAServer) {
  const Wave in = noise({16, false, 2, 48000}, 4800);
  EXPECT_TRUE(saysInOneLine(playOn("pulse:nowhere", in), 4, "no sound server"));
  startServer({{"one"}});
  const Result result = playOn("pulse:nowhere", in);
  EXPECT_TRUE(saysInOneLine(result, 4, "there is no device 'pulse:nowhere'"));
  EXPECT_TRUE(says(result.err, "available: pulse:one (--list-devices)"));
  setenv("PULSE_SINK", "nowhere", 1);
  EXPECT_TRUE(saysInOneLine(playOn("auto", in), 4, "PULSE_SINK names 'nowhere'"));
}

/// As on a machine without the server's library and ALSA's: everything but their modules.
TEST_F(DevicesOfAServer, withoutTheModulesTheRestStartsAndTheListSaysSo) {
  const fs::path built = fs::path(PLAYER).parent_path();
  for (const char* name : {"tavro-play", "CoreAudioOutput.so", "libCoreAudio.so",
                           "libTavro_Core.so", "libTavro_Time.so"}) {
    fs::copy(built / name, folder / name);
  }
  startServer({{"one"}});
  const Result list = run(path("tavro-play"), {"--list-devices"});
  EXPECT_EQ(list.status, 0) << list.err;
  EXPECT_EQ(std::ranges::count(list.out, '\n'), 2) << list.out;
  EXPECT_TRUE(says(list.out, "install libpulse0"));
  EXPECT_TRUE(says(list.out, "install libasound2"));

  const Wave in = noise({16, false, 2, 48000}, 4800);
  writeWave(path("song.wav"), in);
  const Result played = run(path("tavro-play"), {"--device", "file:out.wav", "song.wav"});
  EXPECT_EQ(played.status, 0) << played.err;
  EXPECT_TRUE(isExactly(readWave(path("out.wav")), in.data));

  ffmpeg({"-i", "song.wav", "song.aiff"});
  Result other = run(path("tavro-play"), {"--device", "file:other.wav", "song.aiff"});
  EXPECT_EQ(other.status, 3);
  EXPECT_TRUE(says(other.err, "song.aiff: needs FFmpeg's"));
  EXPECT_TRUE(says(other.err, "install libavformat59"));

  writeWave(path("slow.wav"), noise({16, false, 2, 44100}, 4410));
  other = run(path("tavro-play"), {"--device", "file:other.wav", "song.wav", "slow.wav"});
  EXPECT_EQ(other.status, 4);
  EXPECT_TRUE(says(other.err, "install libswresample4"));
  EXPECT_TRUE(says(other.err, "other.wav': no resampler: "));
}

}  // namespace
