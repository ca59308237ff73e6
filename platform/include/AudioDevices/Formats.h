// SPDX-License-Identifier: MIT

#pragma once

/// Descriptions of the stream formats that this layer plays. [any-thread]

#include <CoreAudio/CoreAudio.h>

#include <cstdint>

namespace AudioDevices {

/// Packed, little-endian. `bits`: 8, 16, 24 or 32 for integers.
AudioStreamBasicDescription pcmInteger(double rate, std::uint32_t channels, std::uint32_t bits);
AudioStreamBasicDescription pcmFloat(double rate, std::uint32_t channels);

/// A stream of AC-3 bursts of 6144 bytes, one per cycle.
AudioStreamBasicDescription ac3Bursts(double rate, std::uint32_t channels,
                                      AudioFormatID formatId = kAudioFormat60958AC3);

/// Returns whether `format` is one of AC-3 bursts, by any of their equivalent identifiers.
bool isAc3Bursts(const AudioStreamBasicDescription& format);

}  // namespace AudioDevices
