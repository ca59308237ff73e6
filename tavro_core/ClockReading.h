// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <cstdint>

namespace Tavro {

/// What readers of the graph's clock use: graph time `graphMs` until host time `hostMs`, then
/// advancing with it if `goes`. Fits into one word, so that readers take no lock.
struct ClockReading {
  std::uint32_t graphMs = 0;
  std::uint32_t hostMs = 0;  // modulo 2^31
  bool goes = false;

  std::uint64_t packed() const {
    return std::uint64_t{graphMs} << 32 | (goes ? kGoesBit : 0) | (hostMs & kHostBits);
  }
  static ClockReading unpacked(std::uint64_t word) {
    const auto low = static_cast<std::uint32_t>(word);
    return {static_cast<std::uint32_t>(word >> 32), low & kHostBits, (low & kGoesBit) != 0};
  }

  /// Returns the host time since `hostMs`; negative if that is yet to come.
  std::int32_t ageMs(std::uint32_t atHostMs) const {
    return static_cast<std::int32_t>((atHostMs - hostMs) << 1) / 2;  // of values modulo 2^31
  }

  /// Returns the graph time at a host time.
  std::uint32_t at(std::uint32_t atHostMs) const {
    return goes ? graphMs + static_cast<std::uint32_t>(std::max(0, ageMs(atHostMs))) : graphMs;
  }

 private:
  static constexpr std::uint32_t kHostBits = 0x7fffffff;
  static constexpr std::uint32_t kGoesBit = 0x80000000;
};

}  // namespace Tavro
