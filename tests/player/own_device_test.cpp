// SPDX-License-Identifier: MIT

// The player's parts in this process, on a device that is what the test says.

#include <AudioDevices/ScriptedDevice.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "player/cli/Player.h"
#include "tavro_core/Bundle.h"
#include "tests/support/Workbench.h"
#include "time/HostTime.h"

namespace {

using AudioDevices::ScriptedDevice;
namespace Script = AudioDevices::Script;

class OwnDevice : public Workbench {
 protected:
  static constexpr std::size_t kFrames = 48000;

  OwnDevice() {
    Tavro::HostTime::simulate();
    options.quiet = true;
  }
  ~OwnDevice() override { Script::reset(); }

  Player::ExitStatus playOn(const AudioDevices::ScriptedSetup& setup, const Words& files) {
    ScriptedDevice device(setup);
    for (const std::string& file : files) {
      options.files.push_back(path(file));
    }
    Player::DeviceChoice choice;
    choice.identifier = "scripted:" + setup.name;
    Player::Playlist playlist(options);
    Tavro::Bundle bundle(BUNDLE);
    Player::Player player(options, choice, playlist, bundle);
    const Player::ExitStatus status = player.run();
    for (std::size_t i = 0; i < setup.streams.size(); ++i) {
      captured.push_back(device.captured(i));
    }
    return status;
  }

  /// A device of one stream that takes sound, and bursts at 48 kHz.
  static AudioDevices::ScriptedSetup receiver() {
    AudioDevices::ScriptedStream stream;
    stream.format = AudioDevices::pcmInteger(48000, 2, 16);
    stream.available = {AudioDevices::ac3Bursts(48000, 2)};
    AudioDevices::ScriptedSetup setup;
    setup.streams = {stream};
    setup.clocked = true;
    setup.captureBytes = 4u << 20;
    return setup;
  }

  /// What a stream was left in.
  static std::optional<AudioFormatID> lastFormatSet() {
    std::optional<AudioFormatID> last;
    for (const Script::Call& call : Script::calls()) {
      if (call.function == "AudioObjectSetPropertyData" &&
          call.data.size() == sizeof(AudioStreamBasicDescription)) {
        AudioStreamBasicDescription format;
        std::memcpy(&format, call.data.data(), sizeof(format));
        last = format.mFormatID;
      }
    }
    return last;
  }

  Player::Options options;
  std::vector<Bytes> captured;
};

TEST_F(OwnDevice, soundAndBurstsTakeTurnsOnOneDevice) {
  encode("in.ac3", {});
  const Wave wave = noise({16, false, 2, 48000}, kFrames);
  writeWave(path("in.wav"), wave);
  ASSERT_EQ(playOn(receiver(), {"in.wav", "in.ac3", "in.wav"}), Player::ExitStatus::Played);
  const Bytes& all = captured[0];
  const auto first = std::search(all.begin(), all.end(), wave.data.begin(), wave.data.end());
  ASSERT_NE(first, all.end());
  const auto second = std::search(first + 1, all.end(), wave.data.begin(), wave.data.end());
  ASSERT_NE(second, all.end());
  writeFile(path("between"), Bytes(first + static_cast<std::ptrdiff_t>(wave.data.size()), second));
  EXPECT_TRUE(received("between") == readFile(path("in.ac3")));
}

TEST_F(OwnDevice, monoGoesToBothSides) {
  const Wave mono = noise({16, false, 1, 48000}, kFrames);
  writeWave(path("in.wav"), mono);
  Bytes both;
  for (std::size_t i = 0; i < mono.frames(); ++i) {
    const Bytes sample = framesOf(mono, i, 1);
    both.insert(both.end(), sample.begin(), sample.end());
    both.insert(both.end(), sample.begin(), sample.end());
  }
  ffmpeg({"-i", "in.wav", "in.aiff"});
  ASSERT_EQ(playOn(receiver(), {"in.wav", "in.aiff"}), Player::ExitStatus::Played);
  EXPECT_TRUE(contains(captured[0], joined({both, both})));
}

TEST_F(OwnDevice, aDeviceThatDoesNotTakeTheBurstsAfterAllGetsTheSound) {
  encode("in.ac3", {});
  ffmpeg({"-i", "in.ac3", "-f", "f32le", "reference"});
  AudioDevices::ScriptedSetup setup = receiver();
  setup.streams[0].format = AudioDevices::pcmFloat(48000, 2);
  Script::failCall("AudioDeviceStart", 1, kAudioDevicePermissionsError);
  ASSERT_EQ(playOn(setup, {"in.ac3"}), Player::ExitStatus::Played);
  EXPECT_TRUE(contains(captured[0], readFile(path("reference"))));
}

TEST_F(OwnDevice, aDeviceThatDoesNotTakeTheBurstsAfterAllIsAnErrorWhenTheyAreAskedFor) {
  encode("in.ac3", {});
  options.passthrough = Player::PassthroughMode::On;
  Script::failCall("AudioDeviceStart", 1, kAudioDevicePermissionsError);
  Script::record();
  EXPECT_EQ(playOn(receiver(), {"in.ac3"}), Player::ExitStatus::PlaybackFailed);
  EXPECT_TRUE(captured[0].empty());
  EXPECT_EQ(lastFormatSet(), kAudioFormatLinearPCM);
}

}  // namespace
