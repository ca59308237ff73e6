// SPDX-License-Identifier: MIT

#pragma once

/// What the platform's tests play with: a graph built as a program builds it, a source that gives
/// bytes in order and silence after them, and the properties of objects.

#include <AudioDevices/AudioDevices.h>
#include <AudioDevices/ScriptedDevice.h>
#include <AudioToolbox/AudioToolbox.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <random>
#include <string>
#include <vector>

#include "check/bench/LayoutRecord.h"

using Bytes = std::vector<std::uint8_t>;
using Check::layoutRecord;

inline Bytes randomBytes(std::size_t count, unsigned seed = 1) {
  std::mt19937 generator(seed);
  Bytes bytes(count);
  std::ranges::generate(bytes, [&] { return static_cast<std::uint8_t>(generator()); });
  return bytes;
}

template <class T>
Bytes bytesOf(const std::vector<T>& values) {
  Bytes bytes(values.size() * sizeof(T));
  std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

template <class T>
std::vector<T> valuesOf(const Bytes& bytes) {
  std::vector<T> values(bytes.size() / sizeof(T));
  std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
  return values;
}

constexpr AudioObjectPropertyAddress outputSide(AudioObjectPropertySelector selector) {
  return {selector, kAudioDevicePropertyScopeOutput, kAudioObjectPropertyElementMaster};
}
constexpr AudioObjectPropertyAddress global(AudioObjectPropertySelector selector) {
  return {selector, kAudioObjectPropertyScopeGlobal, kAudioObjectPropertyElementMaster};
}
constexpr auto kDefaultDevice = global(kAudioHardwarePropertyDefaultOutputDevice);
constexpr auto kLayout = outputSide(kAudioDevicePropertyPreferredChannelLayout);
constexpr auto kFormat = global(kAudioStreamPropertyPhysicalFormat);

template <class T>
OSStatus readProperty(AudioObjectID object, const AudioObjectPropertyAddress& address, T& value) {
  UInt32 size = sizeof value;
  return AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, &value);
}

template <class T>
OSStatus writeProperty(AudioObjectID object, const AudioObjectPropertyAddress& address,
                       const T& value) {
  return AudioObjectSetPropertyData(object, &address, 0, nullptr, sizeof value, &value);
}

inline OSStatus setFormat(AudioStreamID stream, const AudioStreamBasicDescription& format) {
  return writeProperty(stream, kFormat, format);
}

inline AudioStreamBasicDescription formatOf(AudioStreamID stream) {
  AudioStreamBasicDescription format{};
  EXPECT_EQ(readProperty(stream, kFormat, format), noErr);
  return format;
}

inline bool operator==(const AudioStreamBasicDescription& left,
                       const AudioStreamBasicDescription& right) {
  return std::memcmp(&left, &right, sizeof left) == 0;
}

inline AudioDevices::ScriptedSetup stereo(const std::string& name = "scripted") {
  return {.name = name, .streams = {{.format = AudioDevices::pcmInteger(48000, 2, 16)}}};
}

/// Plays by the clock.
inline AudioDevices::ScriptedSetup clocked() {
  auto setup = stereo();
  setup.clocked = true;
  return setup;
}

class Graph {
 public:
  Graph() {
    const AudioComponentDescription output{kAudioUnitType_Output, kAudioUnitSubType_DefaultOutput,
                                           kAudioUnitManufacturer_Apple, 0, 0};
    EXPECT_EQ(NewAUGraph(&graph), noErr);
    EXPECT_EQ(AUGraphAddNode(graph, &output, &node), noErr);
    EXPECT_EQ(AUGraphOpen(graph), noErr);
    EXPECT_EQ(AUGraphNodeInfo(graph, node, nullptr, &unit), noErr);
    EXPECT_EQ(AUGraphInitialize(graph), noErr);
  }
  ~Graph() { DisposeAUGraph(graph); }
  Graph(const Graph&) = delete;
  Graph& operator=(const Graph&) = delete;

  OSStatus setFormat(const AudioStreamBasicDescription& format) {
    return AudioUnitSetProperty(unit, kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, 0,
                                &format, sizeof format);
  }
  OSStatus setDevice(AudioDeviceID id) {
    return AudioUnitSetProperty(unit, kAudioOutputUnitProperty_CurrentDevice,
                                kAudioUnitScope_Global, 0, &id, sizeof id);
  }
  void setCallback(AURenderCallback callback, void* context) {
    const AURenderCallbackStruct record{callback, context};
    EXPECT_EQ(AudioUnitSetProperty(unit, kAudioUnitProperty_SetRenderCallback,
                                   kAudioUnitScope_Input, 0, &record, sizeof record),
              noErr);
  }
  std::vector<SInt32> channelMap() {
    UInt32 size = 0;
    EXPECT_EQ(AudioUnitGetPropertyInfo(unit, kAudioOutputUnitProperty_ChannelMap,
                                       kAudioUnitScope_Output, 0, &size, nullptr),
              noErr);
    std::vector<SInt32> map(size / sizeof(SInt32));
    EXPECT_EQ(AudioUnitGetProperty(unit, kAudioOutputUnitProperty_ChannelMap,
                                   kAudioUnitScope_Output, 0, map.data(), &size),
              noErr);
    return map;
  }
  OSStatus setChannelMap(const std::vector<SInt32>& map) {
    return AudioUnitSetProperty(unit, kAudioOutputUnitProperty_ChannelMap, kAudioUnitScope_Output,
                                0, map.data(), static_cast<UInt32>(map.size() * sizeof(SInt32)));
  }
  OSStatus setVolume(float volume) {
    return AudioUnitSetParameter(unit, kHALOutputParam_Volume, kAudioUnitScope_Global, 0, volume,
                                 0);
  }
  bool isRunning() {
    Boolean running = 0;
    EXPECT_EQ(AUGraphIsRunning(graph, &running), noErr);
    return running != 0;
  }

  AUGraph graph = nullptr;
  AUNode node = 0;
  AudioUnit unit = nullptr;
};

class Source {
 public:
  Source(const AudioStreamBasicDescription& streamFormat, Bytes content)
      : format(streamFormat), bytes(std::move(content)) {}

  /// The graph plays this source, once it is started.
  void playOn(Graph& graph) {
    ASSERT_EQ(graph.setFormat(format), noErr);
    graph.setCallback(render, this);
  }
  void startOn(Graph& graph) {
    playOn(graph);
    ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  }

  static OSStatus render(void* context, AudioUnitRenderActionFlags* flags, const AudioTimeStamp*,
                         UInt32, UInt32 frames, AudioBufferList* list) {
    auto& self = *static_cast<Source*>(context);
    AudioBuffer& buffer = list->mBuffers[0];
    const std::size_t wanted = std::size_t{frames} * self.format.mBytesPerFrame;
    EXPECT_EQ(buffer.mDataByteSize, wanted);
    EXPECT_EQ(buffer.mNumberChannels, self.format.mChannelsPerFrame);
    self.framesAsked += frames;
    const std::size_t count = std::min(wanted, self.bytes.size() - self.position);
    if (count == 0) {
      *flags |= kAudioUnitRenderAction_OutputIsSilence;
    }
    std::memcpy(buffer.mData, self.bytes.data() + self.position, count);
    std::memset(static_cast<std::uint8_t*>(buffer.mData) + count, 0, wanted - count);
    self.position += count;
    return noErr;
  }

  AudioStreamBasicDescription format;
  Bytes bytes;
  std::size_t position = 0;
  std::uint64_t framesAsked = 0;
};

/// What the device plays of a source in cycles of so many frames, one after another.
inline Bytes played(AudioDevices::ScriptedDevice& device, const std::vector<std::uint32_t>& cycles,
                    std::size_t stream = 0) {
  Bytes all;
  for (const std::uint32_t frames : cycles) {
    const auto cycle = device.cycle(frames);
    EXPECT_TRUE(cycle.ran);
    const Bytes& bytes = cycle.buffers.at(stream);
    all.insert(all.end(), bytes.begin(), bytes.end());
  }
  return all;
}

/// A source that plays on a device of its own.
struct Playing {
  Playing(const AudioStreamBasicDescription& to, const AudioStreamBasicDescription& from,
          Bytes bytes)
      : device({.streams = {{.format = to}}}), source(from, std::move(bytes)) {
    source.startOn(graph);
  }

  AudioDevices::ScriptedDevice device;
  Graph graph;
  Source source;
};
