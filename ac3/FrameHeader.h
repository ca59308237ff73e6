// SPDX-License-Identifier: MIT

#pragma once

/// The header of AC-3 frames, each of which holds kAudioFrames of sound.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace Ac3 {

inline constexpr std::uint32_t kAudioFrames = 1536;
inline constexpr std::uint32_t kBurstBytes = kAudioFrames * 4;  // IEC 61937: as 16-bit stereo
inline constexpr std::uint16_t kSyncWord = 0x0B77;              // the frame's first two bytes
inline constexpr std::array kRates = {48000U, 44100U, 32000U};  // Hz, in the order of their codes
inline constexpr unsigned kFullRateVersion = 8;  // each version above it halves the rate
inline constexpr unsigned kLastVersion = 10;     // above it is E-AC-3

struct Header {
  std::uint32_t rate;  // Hz
  std::size_t bytes;   // of the whole frame
  unsigned version;    // of the bit stream syntax; above kLastVersion the rest means nothing
};
inline constexpr std::size_t kHeaderBytes = 6;

/// Parses the first kHeaderBytes of a frame, which begin with the sync word. Returns nothing for a
/// reserved sample rate or length code.
inline std::optional<Header> parseHeader(std::span<const std::uint8_t> frame) {
  constexpr std::array kKilobitsPerSecond = {32U,  40U,  48U,  56U,  64U,  80U,  96U,
                                             112U, 128U, 160U, 192U, 224U, 256U, 320U,
                                             384U, 448U, 512U, 576U, 640U};
  const std::size_t rateCode = frame[4] >> 6;
  const std::size_t lengthCode = frame[4] & 0x3F;
  if (rateCode >= kRates.size() || lengthCode / 2 >= kKilobitsPerSecond.size()) {
    return {};
  }
  const std::uint32_t rate = kRates.at(rateCode);
  // At 44.1 kHz frames are not a whole number of words; the last bit marks those one word longer.
  const std::size_t extra = rate == 44100 ? lengthCode & 1 : 0;
  const std::size_t bitsPerSecond = std::size_t{kKilobitsPerSecond.at(lengthCode / 2)} * 1000;
  const unsigned version = frame[5] >> 3;
  const unsigned halvings = version > kFullRateVersion ? version - kFullRateVersion : 0;
  return Header{.rate = rate >> halvings,
                .bytes = 2 * (bitsPerSecond * kAudioFrames / (std::size_t{rate} * 16) + extra),
                .version = version};
}

}  // namespace Ac3
