// SPDX-License-Identifier: MIT

#pragma once

/// Linear PCM as this layer plays it: interleaved, packed, one frame per packet.

#include <CoreAudio/CoreAudio.h>

#include <array>
#include <cstdint>
#include <optional>

#include "locks/NonBlocking.h"

namespace Platform {

inline constexpr std::uint32_t kMaxChannels = 64;

enum class SampleType : std::uint8_t { S8, S16, S24, S32, F32 };

struct SampleFormat {
  SampleType type = SampleType::S16;
  bool bigEndian = false;

  std::uint32_t bytes() const TAVRO_NONBLOCKING;
  bool operator==(const SampleFormat&) const = default;
};

/// The sample types that files, sound servers and ALSA take, little-endian.
inline constexpr std::array kBackendTypes = {SampleType::S16, SampleType::S24, SampleType::S32,
                                             SampleType::F32};

/// Returns such a format that holds the samples without loss.
SampleFormat backendSample(SampleFormat sample);

struct PcmFormat {
  SampleFormat sample;
  std::uint32_t channels = 2;
  std::uint32_t rate = 48000;  // frames per second

  std::uint32_t bytesPerFrame() const { return channels * sample.bytes(); }
  bool operator==(const PcmFormat&) const = default;
};

/// Returns nothing unless it is linear PCM with a layout, sample width and rate that this layer
/// plays. Rates are whole numbers from 1000 to 768000 Hz.
std::optional<PcmFormat> parsePcm(const AudioStreamBasicDescription& description);
AudioStreamBasicDescription describePcm(const PcmFormat& format);

/// Returns true if all fields are equal.
bool isSame(const AudioStreamBasicDescription& left, const AudioStreamBasicDescription& right);

}  // namespace Platform
