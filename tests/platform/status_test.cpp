// SPDX-License-Identifier: MIT

#include <cmath>
#include <limits>
#include <optional>

#include "Play.h"

namespace {

using AudioDevices::pcmFloat;
using AudioDevices::pcmInteger;
using AudioDevices::ScriptedDevice;

TEST(UnitFormat, isRefusedUnlessItCanBePlayed) {
  ScriptedDevice device(stereo());
  Graph graph;
  for (const auto& good :
       {pcmInteger(8000, 1, 8), pcmInteger(44100, 2, 16), pcmInteger(192000, 8, 24),
        pcmInteger(1000, 64, 32), pcmFloat(768000, 6)}) {
    EXPECT_EQ(graph.setFormat(good), noErr) << good.mBitsPerChannel;
  }
  const auto refuses = [&](auto spoil, const char* what) {
    AudioStreamBasicDescription format = pcmInteger(48000, 2, 16);
    spoil(format);
    EXPECT_EQ(graph.setFormat(format), kAudioUnitErr_FormatNotSupported) << what;
  };
  refuses([](auto& f) { f.mFormatID = kAudioFormatAC3; }, "compressed");
  refuses([](auto& f) { f.mFormatFlags &= ~AudioFormatFlags{kAudioFormatFlagIsPacked}; },
          "unpacked");
  refuses([](auto& f) { f.mFormatFlags |= kAudioFormatFlagIsNonInterleaved; }, "planar");
  refuses([](auto& f) { f.mFormatFlags |= kAudioFormatFlagIsFloat; }, "float and integer");
  refuses([](auto& f) { f.mFormatFlags = kAudioFormatFlagIsPacked; }, "unsigned");
  refuses([](auto& f) { f.mFormatFlags = 9; }, "16-bit float");
  refuses([](auto& f) { f.mBitsPerChannel = 12; }, "12 bits");
  refuses([](auto& f) { f.mBytesPerFrame = 6; }, "frame size");
  refuses([](auto& f) { f.mBytesPerPacket = 8; }, "packet size");
  refuses([](auto& f) { f.mFramesPerPacket = 2; }, "frames a packet");
  refuses([](auto& f) { f.mChannelsPerFrame = f.mBytesPerFrame = f.mBytesPerPacket = 0; }, "mute");
  refuses(
      [](auto& f) {
        f.mChannelsPerFrame = 65;
        f.mBytesPerFrame = f.mBytesPerPacket = 130;
      },
      "65 channels");
  for (const double rate : {0.0, -48000.0, 999.0, 44100.5, 1e9, std::nan(""),
                            std::numeric_limits<double>::infinity()}) {
    refuses([rate](auto& f) { f.mSampleRate = rate; }, "rate");
  }
  AudioStreamBasicDescription kept{};
  UInt32 size = sizeof kept;
  ASSERT_EQ(AudioUnitGetProperty(graph.unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input,
                                 0, &kept, &size),
            noErr);
  EXPECT_EQ(kept.mSampleRate, 768000);  // the last good one
}

TEST(UnitProperties, answerForWrongAddressesSizesAndValues) {
  ScriptedDevice device(stereo());
  Graph graph;
  UInt32 word = 0;
  UInt32 size = sizeof word;
  const auto get = [&](auto id, auto scope, auto element) {
    return AudioUnitGetProperty(graph.unit, static_cast<AudioUnitPropertyID>(id),
                                static_cast<AudioUnitScope>(scope), element, &word, &size);
  };
  EXPECT_EQ(get(9999, 0, 0U), kAudioUnitErr_InvalidProperty);
  EXPECT_EQ(get(kAudioOutputUnitProperty_CurrentDevice, 1, 0U), kAudioUnitErr_InvalidScope);
  EXPECT_EQ(get(kAudioOutputUnitProperty_CurrentDevice, 0, 1U), kAudioUnitErr_InvalidElement);
  EXPECT_EQ(get(kAudioUnitProperty_StreamFormat, 1, 0U), kAudioUnitErr_InvalidPropertyValue);
  ASSERT_EQ(get(kAudioOutputUnitProperty_CurrentDevice, 0, 0U), noErr);
  EXPECT_EQ(word, device.id());
  const auto set = [&](auto id, auto scope, UInt32 bytes) {
    const std::uint8_t zeros[64] = {};
    return AudioUnitSetProperty(graph.unit, static_cast<AudioUnitPropertyID>(id),
                                static_cast<AudioUnitScope>(scope), 0, zeros, bytes);
  };
  EXPECT_EQ(set(kAudioUnitProperty_StreamFormat, 1, 39), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(set(kAudioUnitProperty_StreamFormat, 2, 40), kAudioUnitErr_PropertyNotWritable);
  EXPECT_EQ(set(kAudioUnitProperty_SetRenderCallback, 1, 8), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(set(kAudioOutputUnitProperty_CurrentDevice, 0, 4), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(set(kAudioUnitProperty_Latency, 0, 8), kAudioUnitErr_PropertyNotWritable);
  EXPECT_EQ(graph.setVolume(1.01F), kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(graph.setVolume(std::nanf("")), kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(AudioUnitSetParameter(graph.unit, 15, 0, 0, 0.5F, 0), kAudioUnitErr_InvalidParameter);
  EXPECT_EQ(AudioUnitSetParameter(graph.unit, 14, 1, 0, 0.5F, 0), kAudioUnitErr_InvalidScope);
}

TEST(GraphCalls, areCheckedForOrderAndHandles) {
  std::optional<ScriptedDevice> device;
  AUGraph graph = nullptr;
  AUNode node = 0;
  AudioUnit unit = nullptr;
  AudioComponentDescription output{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput,
                                   kAudioUnitManufacturer_Apple, 0, 0};
  EXPECT_EQ(NewAUGraph(nullptr), kAudio_ParamError);
  ASSERT_EQ(NewAUGraph(&graph), noErr);
  EXPECT_EQ(AUGraphOpen(graph), kAUGraphErr_OutputNodeErr);
  EXPECT_EQ(AUGraphInitialize(graph), kAUGraphErr_CannotDoInCurrentContext);
  output.componentSubType = 0x67656E72;
  EXPECT_EQ(AUGraphAddNode(graph, &output, &node), kAUGraphErr_InvalidAudioUnit);
  output.componentSubType = kAudioUnitSubType_DefaultOutput;
  ASSERT_EQ(AUGraphAddNode(graph, &output, &node), noErr);
  EXPECT_EQ(AUGraphAddNode(graph, &output, &node), kAUGraphErr_OutputNodeErr);
  EXPECT_EQ(AUGraphNodeInfo(graph, node, nullptr, &unit), kAUGraphErr_InvalidAudioUnit);
  ASSERT_EQ(AUGraphOpen(graph), noErr);
  EXPECT_EQ(AUGraphNodeInfo(graph, node + 1, nullptr, &unit), kAUGraphErr_NodeNotFound);
  ASSERT_EQ(AUGraphNodeInfo(graph, node, nullptr, &unit), noErr);
  EXPECT_EQ(AUGraphInitialize(graph), kAudioHardwareBadDeviceError);
  EXPECT_EQ(AUGraphStart(graph), kAudioUnitErr_Uninitialized);
  device.emplace(stereo());
  ASSERT_EQ(AUGraphInitialize(graph), noErr);
  EXPECT_EQ(AUGraphStart(graph), kAudioUnitErr_NoConnection);
  EXPECT_EQ(AUGraphClose(graph), noErr);
  EXPECT_EQ(AudioUnitReset(unit, kAudioUnitScope_Input, 0), kAudio_ParamError);
  ASSERT_EQ(AUGraphOpen(graph), noErr);
  EXPECT_EQ(AUGraphStart(graph), kAudioUnitErr_Uninitialized);
  EXPECT_EQ(DisposeAUGraph(graph), noErr);
  EXPECT_EQ(DisposeAUGraph(graph), kAudio_ParamError);
  EXPECT_EQ(AUGraphStop(graph), kAudio_ParamError);
  EXPECT_EQ(AudioDevices::Script::leftovers(), AudioDevices::Script::Leftovers{});
}

TEST(ObjectProperties, answerForUnknownObjectsPropertiesAndSizes) {
  ScriptedDevice device(
      {.streams = {{.format = pcmInteger(48000, 2, 16)}, {.format = pcmInteger(48000, 2, 24)}}});
  UInt32 size = 0;
  const auto streams = outputSide(kAudioDevicePropertyStreams);
  EXPECT_EQ(AudioObjectGetPropertyDataSize(9999, &streams, 0, nullptr, &size),
            kAudioHardwareBadObjectError);
  EXPECT_EQ(AudioObjectGetPropertyDataSize(device.stream(0), &streams, 0, nullptr, &size),
            kAudioHardwareUnknownPropertyError);
  EXPECT_EQ(AudioObjectGetPropertyDataSize(device.id(), nullptr, 0, nullptr, &size),
            kAudioHardwareIllegalOperationError);
  ASSERT_EQ(AudioObjectGetPropertyDataSize(device.id(), &streams, 0, nullptr, &size), noErr);
  EXPECT_EQ(size, 2 * sizeof(AudioStreamID));

  // An array is cut to what fits; a record is read whole or not at all.
  AudioStreamID ids[2] = {};
  size = 7;
  ASSERT_EQ(AudioObjectGetPropertyData(device.id(), &streams, 0, nullptr, &size, ids), noErr);
  EXPECT_EQ(size, 4U);
  EXPECT_EQ(ids[0], device.stream(0));
  std::uint8_t shortFormat[39];
  EXPECT_EQ(readProperty(device.stream(0), kFormat, shortFormat),
            kAudioHardwareBadPropertySizeError);
  EXPECT_EQ(writeProperty(device.stream(0), kFormat, shortFormat),
            kAudioHardwareBadPropertySizeError);
  EXPECT_EQ(writeProperty(device.id(), global(kAudioDevicePropertyNominalSampleRate), 48000.0),
            kAudioHardwareUnsupportedOperationError);
  EXPECT_EQ(writeProperty(device.stream(0), kFormat, pcmInteger(44100, 2, 16)),
            kAudioDeviceUnsupportedFormatError);
  AudioDeviceIOProcID id = nullptr;
  EXPECT_EQ(AudioDeviceCreateIOProcID(9999, nullptr, nullptr, &id), kAudioHardwareBadDeviceError);
  EXPECT_EQ(AudioDeviceStart(device.id(), id), kAudioHardwareIllegalOperationError);
}

TEST(StatusText, namesTheCodeAndTheNumber) {
  EXPECT_EQ(AudioDevices::statusText(kAudioHardwareBadObjectError),
            "there is no such object ('!obj' 560947818)");
  EXPECT_EQ(AudioDevices::statusText(kAudioUnitErr_FormatNotSupported),
            "the unit cannot play this format (-10868)");
  EXPECT_EQ(AudioDevices::statusText(-1), "an unknown error (-1)");
}

}  // namespace
