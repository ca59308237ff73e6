// SPDX-License-Identifier: MIT

#include "platform/iec61937/BurstFormat.h"

#include <algorithm>

namespace Platform {
namespace {

// Identifiers that the headers do not name.
constexpr AudioFormatID kUpperCaseIac3 = 0x49414333;  // 'IAC3'
constexpr AudioFormatID kLowerCaseIac3 = 0x69616333;  // 'iac3'
constexpr std::array kBurstFormats = {AudioFormatID{kAudioFormat60958AC3},
                                      AudioFormatID{kAudioFormatAC3}, kUpperCaseIac3,
                                      kLowerCaseIac3};

}  // namespace

bool isBurstFormat(const AudioStreamBasicDescription& description) TAVRO_NONBLOCKING {
  return std::ranges::find(kBurstFormats, description.mFormatID) != kBurstFormats.end();
}

/// A packet is one burst; it takes the space of 16-bit stereo frames, whatever it decodes to.
AudioStreamBasicDescription describeBursts(double rate, std::uint32_t channels,
                                           AudioFormatID formatId) {
  AudioStreamBasicDescription description{};
  description.mSampleRate = rate;
  description.mFormatID = formatId;
  description.mBytesPerPacket = kBurstBytes;
  description.mFramesPerPacket = kBurstFrames;
  description.mBytesPerFrame = kBurstBytes / kBurstFrames;
  description.mChannelsPerFrame = channels;
  description.mBitsPerChannel = 16;
  return description;
}

std::optional<std::uint32_t> burstRateOf(const AudioStreamBasicDescription& description) {
  const auto found = std::ranges::find_if(
      kBurstRates, [&](std::uint32_t rate) { return isSame(description, describeBursts(rate)); });
  return found != kBurstRates.end() ? std::optional(*found) : std::nullopt;
}

}  // namespace Platform
