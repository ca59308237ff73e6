// SPDX-License-Identifier: MIT

#pragma once

#include <boost/crc.hpp>

#include <cstddef>
#include <cstdint>
#include <span>

namespace Ac3 {

/// Which of a frame's two checksums is wrong.
enum class Damage : std::uint8_t { None, FirstFiveEighths, Rest };

/// Checks a whole frame. The first checksum covers five eighths of it, the second all of it; both
/// leave out the sync word.
inline Damage damageOf(std::span<const std::uint8_t> frame) {
  const std::size_t firstBytes = (frame.size() / 4 + frame.size() / 16) * 2;
  boost::crc_optimal<16, 0x8005> sum;
  sum.process_bytes(frame.data() + 2, firstBytes - 2);
  if (sum.checksum() != 0) {
    return Damage::FirstFiveEighths;
  }
  sum.process_bytes(frame.data() + firstBytes, frame.size() - firstBytes);
  return sum.checksum() != 0 ? Damage::Rest : Damage::None;
}

}  // namespace Ac3
