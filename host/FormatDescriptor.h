#pragma once

#include <cstdint>

namespace Tavro {

/// One stream format that a component offers or that a connection carries.
struct FormatDescriptor {
  std::uint32_t formatCode;  // 3: 32-bit float; kBigEndian; any other: little-endian integers
  std::uint32_t reserved1;
  std::uint32_t reserved2;
  std::uint32_t dataModel;  // 2 in every descriptor that an audio output accepts
  std::uint32_t rank;       // the lower, the more welcome
};

namespace FormatCode {
inline constexpr std::uint32_t kFloat = 3;
inline constexpr std::uint32_t kBigEndian = 0x736F7774;  // the characters "twos" in memory order
inline constexpr std::uint32_t kInteger = 1;
inline constexpr std::uint32_t kRaw = 0;  // integers too
}  // namespace FormatCode

}  // namespace Tavro
