// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstring>

namespace Platform {

/// Returns true for all zeros, no bytes, or null.
inline bool isZero(const void* memory, std::size_t bytes) {
  const auto* first = static_cast<const char*>(memory);
  return first == nullptr || bytes == 0 ||
         (*first == 0 && std::memcmp(first, first + 1, bytes - 1) == 0);
}

}  // namespace Platform
