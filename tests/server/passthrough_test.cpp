// SPDX-License-Identifier: MIT

// AC-3 untouched to a digital sink, taken exclusively: by the player, and by the layer's own calls
// in this process.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include "tests/platform/Bursts.h"
#include "tests/server/ServerTest.h"

namespace {

using AudioDevices::ac3Bursts;

class PassthroughOnAServer : public ServerTest {
 protected:
  static AudioDevices::StreamDescription streamOf(AudioDeviceID id) {
    const auto devices = AudioDevices::list();
    const auto found = std::ranges::find(devices, id, &AudioDevices::DeviceDescription::id);
    return found != devices.end() ? found->streams.front() : AudioDevices::StreamDescription{};
  }

  AudioDeviceID attach(const std::string& sink) {
    AudioDevices::Failure failure;
    const AudioDeviceID id = AudioDevices::attach("pulse:" + sink, &failure);
    EXPECT_NE(id, kAudioObjectUnknown) << failure.message;
    return id;
  }

  bool isPassingThrough() const { return says(pactl({"list", "sink-inputs"}), "ac3-iec61937"); }
  bool isPlayingPcm() const { return says(pactl({"list", "sink-inputs"}), "Format: pcm"); }
};

TEST_F(PassthroughOnAServer, thePlayersAc3ArrivesAsTheBurstsOfTheFileAndPcmAfterIt) {
  startDigitalServer();
  for (const unsigned rate : {48000U, 44100U, 32000U}) {
    SCOPED_TRACE(rate);
    encode("in.ac3", {rate, 2, 192, 1.5});
    const Result result = play({"--device", "pulse:digital", "--passthrough", "on", "in.ac3"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(contains(digitallyPlayed(rate), burstsOf("in.ac3")));
  }
  const Wave in = noise({16, false, 2, 44100}, 22050);  // the rate that the sink has by itself
  const Result result = playOn("pulse:digital", in);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(contains(digitallyPlayed(44100), in.data));
}

TEST_F(PassthroughOnAServer, whoComesSecondIsToldThatTheSinkIsInUse) {
  startServer({{"digital", {16, false, 2, 48000}, "", "pcm; ac3-iec61937"}});
  writeWave(path("in.wav"), noise({16, false, 2, 48000}, 10 * 48000));
  const AudioDeviceID device = attach("digital");
  ASSERT_EQ(setFormat(streamOf(device).id, ac3Bursts(48000, 2)), noErr);
  {
    BurstPlayer player(device, encodedBursts(4));
    ASSERT_EQ(player.start(), noErr);
    EXPECT_TRUE(isPassingThrough());
    EXPECT_TRUE(saysInOneLine(play({"--device", "pulse:digital", "in.wav"}), 4, "busy"));
  }
  const pid_t other = begin(PLAYER, {"--device", "pulse:digital", "in.wav"});
  EXPECT_TRUE(eventually([&] { return isPlayingPcm(); }));
  BurstPlayer player(device, encodedBursts(4));
  EXPECT_EQ(player.start(), kAudioDevicePermissionsError);
  encode("in.ac3", {});
  EXPECT_TRUE(saysInOneLine(
      run(PLAYER, {"--device", "pulse:digital", "--passthrough", "on", "in.ac3"}, "refused"), 1,
      "another program uses the device"));
  EXPECT_EQ(endBy(SIGINT, other).status, 130);
  EXPECT_EQ(player.start(), noErr);
}

/// However the player ends. A killed one leaves it to the server, which takes a moment.
TEST_F(PassthroughOnAServer, theSinkTakesPcmAgainAfterwards) {
  startServer({{"digital", {16, false, 2, 48000}, "", "pcm; ac3-iec61937"}});
  encode("in.ac3", {48000, 2, 192, 30});
  writeWave(path("in.wav"), noise({16, false, 2, 48000}, 4800));
  const auto playsPcm = [this] {
    return play({"--device", "pulse:digital", "in.wav"}).status == 0;
  };
  const auto beginAc3 = [this] {
    const pid_t player = begin(PLAYER, {"--device", "pulse:digital", "in.ac3"});
    EXPECT_TRUE(eventually([this] { return isPassingThrough(); }));
    return player;
  };
  for (const int number : {SIGINT, SIGTERM}) {
    const pid_t player = beginAc3();
    EXPECT_EQ(endBy(number, player).status, 128 + number);
    EXPECT_TRUE(playsPcm()) << number;
  }
  const pid_t failing = beginAc3();
  killStream();
  EXPECT_EQ(end(failing).status, 4);
  EXPECT_TRUE(playsPcm());

  EXPECT_EQ(endBy(SIGKILL, beginAc3()).status, -SIGKILL);
  EXPECT_TRUE(eventually(playsPcm));
}

}  // namespace
