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

  void encode(const std::string& name, unsigned rate, double seconds) const {
    ffmpeg({"-f", "lavfi", "-i", "anoisesrc=seed=1:amplitude=0.3:r=" + std::to_string(rate), "-t",
            std::to_string(seconds), "-ac", "2", "-c:a", "ac3", "-b:a", "192k", name});
  }

  bool isPassingThrough() const {
    return pactl({"list", "sink-inputs"}).find("ac3-iec61937") != std::string::npos;
  }
  bool isPlayingPcm() const {
    return pactl({"list", "sink-inputs"}).find("Format: pcm") != std::string::npos;
  }
};

TEST_F(PassthroughOnAServer, thePlayersAc3ArrivesAsTheBurstsOfTheFileAndPcmAfterIt) {
  startDigitalServer();
  for (const unsigned rate : {48000U, 44100U, 32000U}) {
    SCOPED_TRACE(rate);
    encode("in.ac3", rate, 1.5);
    ffmpeg({"-i", "in.ac3", "-c:a", "copy", "-f", "spdif", "in.spdif"});
    const Result result = play({"--device", "pulse:digital", "--passthrough", "on", "in.ac3"});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(contains(digitallyPlayed(rate), readFile(path("in.spdif"))));
  }
  const Wave in = noise({16, false, 2, 44100}, 22050);  // the rate that the sink has by itself
  writeWave(path("in.wav"), in);
  const Result result = play({"--device", "pulse:digital", "in.wav"});
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
    const Result second = play({"--device", "pulse:digital", "in.wav"});
    EXPECT_EQ(second.status, 4);
    EXPECT_NE(second.err.find("busy"), std::string::npos) << second.err;
  }
  const pid_t other = begin(PLAYER, {"--device", "pulse:digital", "in.wav"});
  EXPECT_TRUE(eventually([&] { return isPlayingPcm(); }));
  BurstPlayer player(device, encodedBursts(4));
  EXPECT_EQ(player.start(), kAudioDevicePermissionsError);
  encode("in.ac3", 48000, 0.5);
  const Result refused =
      run(PLAYER, {"--device", "pulse:digital", "--passthrough", "on", "in.ac3"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_NE(refused.err.find("another program uses the device"), std::string::npos) << refused.err;
  kill(other, SIGINT);
  EXPECT_EQ(end(other).status, 130);
  EXPECT_EQ(player.start(), noErr);
}

/// However the player ends. A killed one leaves it to the server, which takes a moment.
TEST_F(PassthroughOnAServer, theSinkTakesPcmAgainAfterwards) {
  startServer({{"digital", {16, false, 2, 48000}, "", "pcm; ac3-iec61937"}});
  encode("in.ac3", 48000, 30);
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
    kill(player, number);
    EXPECT_EQ(end(player).status, 128 + number);
    EXPECT_TRUE(playsPcm()) << number;
  }
  const pid_t failing = beginAc3();
  const std::string inputs = pactl({"list", "short", "sink-inputs"});
  command("kill-sink-input " + inputs.substr(0, inputs.find('\t')));
  EXPECT_EQ(end(failing).status, 4);
  EXPECT_TRUE(playsPcm());

  const pid_t killed = beginAc3();
  kill(killed, SIGKILL);
  EXPECT_EQ(end(killed).status, -SIGKILL);
  EXPECT_TRUE(eventually(playsPcm));
}

}  // namespace
