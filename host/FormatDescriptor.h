// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

/// One stream format that a component offers or that a connection carries.
struct FormatDescriptor {
  std::uint32_t formatCode;  // FormatCode; any other value: little-endian integers
  std::uint32_t reserved1;
  std::uint32_t reserved2;
  std::uint32_t dataModel;  // an audio output accepts only 2
  std::uint32_t rank;       // the lowest is preferred
};

namespace FormatCode {
inline constexpr std::uint32_t kFloat = 3;               // 32-bit
inline constexpr std::uint32_t kBigEndian = 0x736F7774;  // integers; "twos" in memory order
inline constexpr std::uint32_t kInteger = 1;             // little-endian
inline constexpr std::uint32_t kRaw = 0;                 // like kInteger
}  // namespace FormatCode

}  // namespace Tavro
