// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

/// Tagged value of events, checks, queries, settings and information entries. `{}` sets it to
/// zero; pointers are stored in `value` by reinterpret_cast.
struct _Variant {
  std::uint8_t type;
  std::uintptr_t value;
};

/// Values of `_Variant::type`: what `value` holds.
namespace VariantType {
inline constexpr std::uint8_t kUInt8 = 2;         // low byte of the value word
inline constexpr std::uint8_t kUInt32 = 5;        // low 32 bits of the value word
inline constexpr std::uint8_t kNarrowText = 0xb;  // NarrowString*
inline constexpr std::uint8_t kWideText = 0xd;    // WideString*
inline constexpr std::uint8_t kObject = 0xe;      // pointer to an object
}  // namespace VariantType

}  // namespace Tavro
