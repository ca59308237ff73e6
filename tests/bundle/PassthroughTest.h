// SPDX-License-Identifier: MIT

#pragma once

#include <cstring>
#include <vector>

#include "BundleTest.h"

inline constexpr UInt32 kGlobal = kAudioObjectPropertyScopeGlobal;
inline constexpr UInt32 kAvailable = kAudioStreamPropertyAvailablePhysicalFormats;
inline constexpr UInt32 kPhysical = kAudioStreamPropertyPhysicalFormat;
inline constexpr std::size_t kBurstBytes = 6144;

inline AudioStreamBasicDescription physical(UInt32 id, double rate = 48000, UInt32 channels = 2,
                                            UInt32 mark = 0) {
  return {rate, id, mark, 4, 1, 4, channels, 16, 0};
}

/// A connected component and a default device of two output streams, the second of which offers
/// AC-3 at 48 kHz in two channels.
class PassthroughTest : public BundleTest {
 protected:
  void SetUp() override {
    connect();
    setStreams({51, 52});
    offer(51, {physical(kAudioFormatLinearPCM)});
    offer(52, {physical(kAudioFormatLinearPCM), physical(kAudioFormatAC3)});
    journal.take();
  }

  void setStreams(const std::vector<AudioStreamID>& streams) {
    platform.setProperty(kDevice, kAudioDevicePropertyStreams, kAudioDevicePropertyScopeOutput,
                         streams);
    for (const AudioStreamID stream : streams) {
      platform.setProperty(stream, kPhysical, kGlobal, std::vector{before(stream)});
    }
  }

  void offer(AudioStreamID stream, const std::vector<AudioStreamBasicDescription>& formats) {
    std::vector<AudioStreamRangedDescription> entries;
    for (const auto& one : formats) {
      entries.push_back({one, {8000, 192000}});
    }
    platform.setProperty(stream, kAvailable, kGlobal, entries);
  }

  static AudioStreamBasicDescription before(AudioStreamID stream) {
    return physical(kAudioFormatLinearPCM, 44100, 2, stream);
  }

  bool has(AudioStreamID stream, const AudioStreamBasicDescription& wanted) {
    const Bytes& now = platform.properties[{stream, kPhysical, kGlobal}];
    return now.size() == sizeof wanted && std::memcmp(now.data(), &wanted, sizeof wanted) == 0;
  }

  bool hasFormer(AudioStreamID stream) { return has(stream, before(stream)); }

  bool passthrough(std::uint32_t rate = 48000, std::uint32_t channels = 2) {
    return write(rate, channels, 16, Tavro::PortQuery::kConfigurePassthrough);
  }

  void queueBursts(const std::vector<std::size_t>& sizes) {
    for (const std::size_t size : sizes) {
      add(size, 1000, 32);
    }
    feed();
  }

  /// One device cycle with a zeroed buffer of each size, and one beyond the end of the list;
  /// answers what the buffers hold after it.
  std::vector<Bytes> cycle(const std::vector<std::size_t>& sizes = {kBurstBytes, kBurstBytes}) {
    std::vector<Bytes> memory;
    std::vector<std::uint64_t> room(1 + 2 * (sizes.size() + 1));
    auto* list = reinterpret_cast<AudioBufferList*>(room.data());
    list->mNumberBuffers = static_cast<UInt32>(sizes.size());
    for (std::size_t i = 0; i < sizes.size(); ++i) {
      Bytes& bytes = memory.emplace_back(sizes[i], 0);
      list->mBuffers[i] = {2, static_cast<UInt32>(sizes[i]),
                           bytes.empty() ? nullptr : bytes.data()};
    }
    Bytes beyond(kBurstBytes);
    list->mBuffers[sizes.size()] = {2, kBurstBytes, beyond.data()};
    callProcedure(list);
    return memory;
  }

  void callProcedure(AudioBufferList* list) {
    const FakeIOProc* proc = platform.ioProc();
    ASSERT_NE(proc, nullptr);
    const AudioTimeStamp time{};
    EXPECT_EQ(proc->procedure(proc->device, &time, nullptr, &time, list, &time, proc->clientData),
              0);
  }
};
