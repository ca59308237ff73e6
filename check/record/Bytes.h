// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Check {

using Bytes = std::vector<std::uint8_t>;

/// Returns bytes without zeros, which show by the number which buffer they are from.
inline Bytes pattern(std::size_t count, std::size_t number) {
  Bytes bytes(count);
  for (std::size_t i = 0; i < count; ++i) {
    bytes[i] = static_cast<std::uint8_t>(1 + (i * 7 + number * 31 + i / 251) % 200);
  }
  return bytes;
}

/// Returns the bytes from `from` to before `to`, or to the end.
inline Bytes slice(const Bytes& bytes, std::size_t from, std::size_t to) {
  to = std::min(to, bytes.size());
  return {bytes.data() + std::min(from, to), bytes.data() + to};
}

inline bool isZero(const Bytes& bytes) {
  return std::ranges::all_of(bytes, [](std::uint8_t byte) { return byte == 0; });
}

}  // namespace Check
