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
  EXPECT_NE(result.out.find("  pulse:one"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("* pulse:two"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("(44100 Hz, L R, 2 channels"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("6 channels"), std::string::npos) << result.out;
}

TEST_F(DevicesOfAServer, anUnknownNameIsToldWithOrWithoutAServer) {
  writeWave(path("in.wav"), noise({16, false, 2, 48000}, 4800));
  const Result without = play({"--device", "pulse:nowhere", "in.wav"});
  EXPECT_EQ(without.status, 4);
  EXPECT_NE(without.err.find("no sound server"), std::string::npos) << without.err;
  startServer({{"one"}});
  setenv("PULSE_SINK", "nowhere", 1);
  const Result byVariable = play({"in.wav"});
  EXPECT_EQ(byVariable.status, 4);
  EXPECT_NE(byVariable.err.find("PULSE_SINK names 'nowhere'"), std::string::npos) << byVariable.err;
  const Result with = play({"--device", "pulse:nowhere", "in.wav"});
  EXPECT_EQ(with.status, 4);
  EXPECT_NE(with.err.find("there is no device 'pulse:nowhere'"), std::string::npos) << with.err;
  EXPECT_NE(with.err.find("available: pulse:one (--list-devices)"), std::string::npos) << with.err;
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
  EXPECT_NE(list.out.find("install libpulse0"), std::string::npos) << list.out;
  EXPECT_NE(list.out.find("install libasound2"), std::string::npos) << list.out;

  const Wave in = noise({16, false, 2, 48000}, 4800);
  writeWave(path("song.wav"), in);
  const Result played = run(path("tavro-play"), {"--device", "file:out.wav", "song.wav"});
  EXPECT_EQ(played.status, 0) << played.err;
  EXPECT_TRUE(isExactly(readWave(path("out.wav")), in.data));

  ffmpeg({"-i", "song.wav", "song.aiff"});
  Result other = run(path("tavro-play"), {"--device", "file:other.wav", "song.aiff"});
  EXPECT_EQ(other.status, 3);
  EXPECT_NE(other.err.find("song.aiff: needs FFmpeg's"), std::string::npos) << other.err;
  EXPECT_NE(other.err.find("install libavformat59"), std::string::npos) << other.err;

  writeWave(path("slow.wav"), noise({16, false, 2, 44100}, 4410));
  other = run(path("tavro-play"), {"--device", "file:other.wav", "song.wav", "slow.wav"});
  EXPECT_EQ(other.status, 4);
  EXPECT_NE(other.err.find("install libswresample4"), std::string::npos) << other.err;
  EXPECT_NE(other.err.find("other.wav': no resampler: "), std::string::npos) << other.err;
}

}  // namespace
