// SPDX-License-Identifier: MIT

#pragma once

/// AC-3 as IEC 61937 bursts: sizes, rates, and the formats of streams that carry them. Each cycle
/// of such a stream is one burst with one AC-3 frame.

#include <CoreAudio/CoreAudio.h>

#include <array>
#include <cstdint>
#include <optional>
#include <span>

#include "ac3/FrameHeader.h"
#include "locks/NonBlocking.h"
#include "platform/format/PcmFormat.h"

namespace Platform {

inline constexpr std::uint32_t kBurstFrames = Ac3::kAudioFrames;  // and of the carrier
inline constexpr std::uint32_t kBurstBytes = Ac3::kBurstBytes;
inline constexpr std::uint32_t kBurstChannels = 2;  // of the carrier
inline constexpr std::array kBurstRates = Ac3::kRates;

using Burst = std::span<const std::uint8_t, kBurstBytes>;

/// Returns true for any identifier of AC-3 bursts, whatever the rate and the channels.
bool isBurstFormat(const AudioStreamBasicDescription& description) TAVRO_NONBLOCKING;
AudioStreamBasicDescription describeBursts(double rate, std::uint32_t channels = kBurstChannels,
                                           AudioFormatID formatId = kAudioFormat60958AC3);
/// Returns the rate if the description equals describeBursts() of one of kBurstRates.
std::optional<std::uint32_t> burstRateOf(const AudioStreamBasicDescription& description);

/// Returns the PCM format of the frames that carry bursts.
constexpr PcmFormat carrierOf(std::uint32_t burstRate) {
  return {.sample = {.type = SampleType::S16}, .channels = kBurstChannels, .rate = burstRate};
}

}  // namespace Platform
