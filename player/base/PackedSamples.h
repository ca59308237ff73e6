// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Player {

/// Appends the upper `bytes` bytes of `count` little-endian samples spaced `step` bytes apart, each
/// sample `copies` times in a row.
inline void appendPacked(const std::uint8_t* samples, std::size_t count, std::size_t step,
                         std::size_t bytes, std::size_t copies, std::vector<std::uint8_t>& out) {
  const std::size_t begin = out.size();
  out.resize(begin + count * copies * bytes);
  std::uint8_t* to = out.data() + begin;
  if (step == bytes && copies == 1) {
    std::copy_n(samples, count * bytes, to);
    return;
  }
  const std::uint8_t* from = samples + (step - bytes);
  for (std::size_t i = 0; i < count; ++i, from += step) {
    for (std::size_t copy = 0; copy < copies; ++copy, to += bytes) {
      std::copy_n(from, bytes, to);
    }
  }
}

}  // namespace Player
