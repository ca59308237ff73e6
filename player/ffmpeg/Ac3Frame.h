// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Player {

/// Result of checking data for an AC-3 frame at its beginning, including its checksums.
struct Ac3Frame {
  const char* fault = nullptr;  // why there is none, or a damaged one; else null
  std::size_t bytes = 0;        // the frame's length; 0 if the header is not readable
  std::uint32_t rate = 0;       // likewise
};

Ac3Frame inspectAc3(std::span<const std::uint8_t> data);

}  // namespace Player
