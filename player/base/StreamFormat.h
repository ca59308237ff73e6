// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "ac3/FrameHeader.h"
#include "host/FormatDescriptor.h"
#include "time/Nanoseconds.h"

namespace Player {

/// Sample types passed to the plug-in: little-endian, interleaved.
enum class SampleType : std::uint8_t { Int16, Int24, Int32, Float32 };

constexpr std::uint32_t bitsOf(SampleType type) {
  switch (type) {
    case SampleType::Int16:
      return 16;
    case SampleType::Int24:
      return 24;
    default:
      return 32;
  }
}

/// Audio frames per AC-3 frame. Its burst has as many frames of 16-bit stereo.
inline constexpr std::uint32_t kFramesPerBurst = Ac3::kAudioFrames;
inline constexpr std::uint32_t kBurstBytes = Ac3::kBurstBytes;

inline constexpr std::uint32_t kMostChannels = 8;  // that a component uses

/// Rounds to the nearest frame.
constexpr std::uint64_t framesOf(std::uint64_t ns, std::uint32_t rate) {
  const std::uint64_t whole = ns / Tavro::kNanosPerSecond * rate;
  return whole +
         (ns % Tavro::kNanosPerSecond * rate + Tavro::kNanosPerSecond / 2) / Tavro::kNanosPerSecond;
}

constexpr std::uint64_t nanosecondsOf(std::uint64_t frames, std::uint32_t rate) {
  return frames / rate * Tavro::kNanosPerSecond + frames % rate * Tavro::kNanosPerSecond / rate;
}

struct StreamFormat {
  SampleType type = SampleType::Int16;
  std::uint32_t rate = 0;  // frames per second
  std::uint32_t channels = 0;
  bool bursts = false;  // AC-3 bursts; the other fields describe the carrier

  std::uint32_t bytesPerSample() const { return bitsOf(type) / 8; }
  std::uint32_t bytesPerFrame() const { return channels * bytesPerSample(); }
  std::uint32_t formatCode() const {
    return type == SampleType::Float32 ? Tavro::FormatCode::kFloat : Tavro::FormatCode::kInteger;
  }
  bool operator==(const StreamFormat&) const = default;
};

constexpr StreamFormat burstsAt(std::uint32_t rate) { return {SampleType::Int16, rate, 2, true}; }

}  // namespace Player
