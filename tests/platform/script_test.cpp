// SPDX-License-Identifier: MIT

#include "Play.h"

namespace {

using AudioDevices::ScriptedDevice;
namespace Script = AudioDevices::Script;

class Scripted : public testing::Test {
 protected:
  ~Scripted() override { Script::reset(); }
  ScriptedDevice device{stereo()};
};

TEST_F(Scripted, theNthCallFailsOnceAndDoesNothing) {
  Graph graph;
  Script::failCall("AudioUnitSetParameter", 2, -7);
  EXPECT_EQ(graph.setVolume(0.25F), noErr);
  EXPECT_EQ(graph.setVolume(0.5F), -7);
  float volume = 0;
  ASSERT_EQ(AudioUnitGetParameter(graph.unit, kHALOutputParam_Volume, 0, 0, &volume), noErr);
  EXPECT_EQ(volume, 0.25F);
  EXPECT_EQ(graph.setVolume(0.75F), noErr);
  Script::failCall("", 2, -8);
  EXPECT_EQ(graph.setVolume(0.1F), noErr);
  EXPECT_EQ(AudioUnitReset(graph.unit, kAudioUnitScope_Input, 0), -8);
}

TEST_F(Scripted, callsAreRecordedInOrderWithArgumentsDataAndStatus) {
  Graph graph;
  Script::record();
  graph.setVolume(0.5F);
  writeProperty(kAudioObjectSystemObject, kDefaultDevice, AudioDeviceID{9999});
  const auto calls = Script::calls();
  ASSERT_EQ(calls.size(), 2U);
  EXPECT_EQ(calls[0].function, "AudioUnitSetParameter");
  EXPECT_EQ(calls[0].data, bytesOf(std::vector<float>{0.5F}));
  EXPECT_EQ(calls[0].arguments.at(1), kHALOutputParam_Volume);
  EXPECT_EQ(calls[0].status, noErr);
  EXPECT_EQ(calls[1].arguments,
            (std::vector<std::int64_t>{1, kAudioHardwarePropertyDefaultOutputDevice,
                                       kAudioObjectPropertyScopeGlobal, 0, 4}));
  EXPECT_EQ(calls[1].data, bytesOf(std::vector<std::uint32_t>{9999}));
  EXPECT_EQ(calls[1].status, kAudioHardwareBadDeviceError);
  Script::reset();
  graph.setVolume(1.0F);
  EXPECT_TRUE(Script::calls().empty());
}

TEST_F(Scripted, aHookRunsBeforeTheWorkOfItsCallsAndMayCall) {
  Graph graph;
  float before = 0;
  Script::onCall("AudioUnitSetParameter",
                 [&] { AudioUnitGetParameter(graph.unit, kHALOutputParam_Volume, 0, 0, &before); });
  graph.setVolume(0.5F);
  EXPECT_EQ(before, 1.0F);
  Script::onCall("AudioUnitSetParameter", {});
  graph.setVolume(0.25F);
  EXPECT_EQ(before, 1.0F);
}

}  // namespace
