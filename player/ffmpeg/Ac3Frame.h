#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace Player {

/// What the first bytes of some data are as an AC-3 frame, checked to its last bit.
struct Ac3Frame {
  const char* fault = nullptr;  // why it is none, or a damaged one
  std::size_t bytes = 0;        // its length, once the header could be read
  std::uint32_t rate = 0;       // the same
};

Ac3Frame inspectAc3(std::span<const std::uint8_t> data);

}  // namespace Player
