// SPDX-License-Identifier: MIT

#pragma once

/// AC-3 bursts for the platform's tests, made by ffmpeg's encoder and packer, and an I/O procedure
/// that plays such.

#include <cstdio>
#include <thread>

#include "Play.h"
#include "locks/NonBlocking.h"

inline constexpr std::size_t kBurst = 6144;

/// `count` bursts of noise.
inline Bytes encodedBursts(std::size_t count, std::uint32_t rate = 48000,
                           std::uint32_t channels = 2, std::uint32_t kilobits = 192) {
  const std::string command =
      "ffmpeg -v error -f lavfi -i anoisesrc=seed=1:amplitude=0.3:r=" + std::to_string(rate) +
      " -t 2 -ac " + std::to_string(channels) + " -c:a ac3 -b:a " + std::to_string(kilobits) +
      "k -frames:a " + std::to_string(count) + " -f spdif -";
  Bytes bytes(count * kBurst);
  FILE* pipe = ::popen(command.c_str(), "r");
  EXPECT_NE(pipe, nullptr);
  if (pipe != nullptr) {
    EXPECT_EQ(std::fread(bytes.data(), 1, bytes.size(), pipe), bytes.size()) << command;
    EXPECT_EQ(std::fgetc(pipe), EOF);
    EXPECT_EQ(::pclose(pipe), 0) << command;
  }
  return bytes;
}

/// An I/O procedure that plays one cycle after another of what it is given into a device's first
/// stream, then nothing; keeps what it was called with.
class BurstPlayer {
 public:
  explicit BurstPlayer(AudioDeviceID device, Bytes cycles = {})
      : bytes(std::move(cycles)), m_device(device) {
    EXPECT_EQ(AudioDeviceCreateIOProcID(device, play, this, &m_id), noErr);
  }
  ~BurstPlayer() { AudioDeviceDestroyIOProcID(m_device, m_id); }
  BurstPlayer(const BurstPlayer&) = delete;
  BurstPlayer& operator=(const BurstPlayer&) = delete;

  OSStatus start() { return AudioDeviceStart(m_device, m_id); }
  OSStatus stop() { return AudioDeviceStop(m_device, m_id); }

  void awaitMoreCalls(std::size_t count) const {
    for (const std::size_t before = calls; calls < before + count;) {
      std::this_thread::yield();
    }
  }

  Bytes bytes;
  std::atomic<std::size_t> calls{0};
  std::vector<std::vector<UInt32>> bufferBytes;  // of each stream; no memory: 0

 private:
  static OSStatus play(AudioObjectID, const AudioTimeStamp*, const AudioBufferList*,
                       const AudioTimeStamp*, AudioBufferList* list, const AudioTimeStamp*,
                       void* context) {
    TAVRO_MAY_BLOCK;
    auto& self = *static_cast<BurstPlayer*>(context);
    auto& sizes = self.bufferBytes.emplace_back();
    for (UInt32 i = 0; i < list->mNumberBuffers; ++i) {
      sizes.push_back(list->mBuffers[i].mData != nullptr ? list->mBuffers[i].mDataByteSize : 0);
    }
    const std::size_t count =
        std::min<std::size_t>(sizes.front(), self.bytes.size() - self.m_position);
    std::copy_n(self.bytes.begin() + static_cast<std::ptrdiff_t>(self.m_position), count,
                static_cast<std::uint8_t*>(list->mBuffers[0].mData));
    self.m_position += count;
    ++self.calls;
    return noErr;
  }

  const AudioDeviceID m_device;
  AudioDeviceIOProcID m_id = nullptr;
  std::size_t m_position = 0;
};
