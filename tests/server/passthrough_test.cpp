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

  bool isPassingThrough() const {
    return pactl({"list", "sink-inputs"}).find("ac3-iec61937") != std::string::npos;
  }
  bool isPlayingPcm() const {
    return pactl({"list", "sink-inputs"}).find("Format: pcm") != std::string::npos;
  }
};

TEST_F(PassthroughOnAServer, burstsArriveUntouchedAtEveryRate) {
  startDigitalServer();
  const AudioDeviceID device = attach("digital");
  const auto stream = streamOf(device);
  for (const std::uint32_t rate : {48000U, 44100U, 32000U}) {
    SCOPED_TRACE(rate);
    std::filesystem::resize_file(digitalCapture(), 0);
    ASSERT_EQ(setPhysicalFormat(stream.id, ac3Bursts(rate, 2)), noErr);
    {
      const Bytes bursts = encodedBursts(32, rate);
      BurstPlayer player(device, bursts);
      ASSERT_EQ(player.start(), noErr);
      const std::uint64_t before = AudioDevices::totalsOf(device).framesPlayed;
      EXPECT_TRUE(eventually(
          [&] { return AudioDevices::totalsOf(device).framesHeard >= before + 34 * 1536; }));
      EXPECT_TRUE(isPassingThrough());
      ASSERT_EQ(player.stop(), noErr);
      EXPECT_TRUE(contains(readFile(digitalCapture()), bursts));
    }
    ASSERT_EQ(setPhysicalFormat(stream.id, stream.currentFormat), noErr);
  }
  EXPECT_FALSE(AudioDevices::detach(device));
}

TEST_F(PassthroughOnAServer, thePlayersAc3ArrivesAsTheBurstsOfTheFile) {
  startDigitalServer();
  ffmpeg({"-f", "lavfi", "-i", "anoisesrc=seed=1:amplitude=0.3:r=48000", "-t", "1.5", "-ac", "2",
          "-c:a", "ac3", "-b:a", "192k", "in.ac3"});
  ffmpeg({"-i", "in.ac3", "-c:a", "copy", "-f", "spdif", "in.spdif"});
  const Result result = play({"--device", "pulse:digital", "--passthrough", "on", "in.ac3"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(contains(readFile(digitalCapture()), readFile(path("in.spdif"))));
}

TEST_F(PassthroughOnAServer, pcmPlaysOnTheSameSinkAfterwards) {
  startDigitalServer();
  const AudioDeviceID device = attach("digital");
  const auto stream = streamOf(device);
  ASSERT_EQ(setPhysicalFormat(stream.id, ac3Bursts(48000, 2)), noErr);
  {
    BurstPlayer player(device, encodedBursts(4));
    ASSERT_EQ(player.start(), noErr);
    EXPECT_TRUE(eventually([&] { return player.calls > 8; }));
  }
  ASSERT_EQ(setPhysicalFormat(stream.id, stream.currentFormat), noErr);
  const Wave in = noise({16, false, 2, 48000}, 24000);
  writeWave(path("in.wav"), in);
  const Result result = play({"--device", "pulse:digital", "in.wav"});
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(contains(readFile(digitalCapture()), in.data));
}

TEST_F(PassthroughOnAServer, whoComesSecondIsToldThatTheSinkIsInUse) {
  startServer({{"digital", {16, false, 2, 48000}, "", "pcm; ac3-iec61937"}});
  writeWave(path("in.wav"), noise({16, false, 2, 48000}, 10 * 48000));
  const AudioDeviceID device = attach("digital");
  ASSERT_EQ(setPhysicalFormat(streamOf(device).id, ac3Bursts(48000, 2)), noErr);
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
  kill(other, SIGINT);
  EXPECT_EQ(end(other).status, 130);
  EXPECT_EQ(player.start(), noErr);
}

TEST_F(PassthroughOnAServer, aSinkForPcmOffersNone) {
  startServer({{"analog"}});
  const AudioDeviceID device = attach("analog");
  const auto stream = streamOf(device);
  EXPECT_EQ(std::ranges::count(stream.availableFormats, kAudioFormat60958AC3,
                               [](const auto& each) { return each.mFormat.mFormatID; }),
            0);
  EXPECT_EQ(setPhysicalFormat(stream.id, ac3Bursts(48000, 2)), kAudioDeviceUnsupportedFormatError);
}

}  // namespace
