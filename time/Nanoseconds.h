// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

inline constexpr std::uint64_t kNanosPerMs = 1'000'000;
inline constexpr std::uint64_t kNanosPerSecond = 1'000'000'000;

}  // namespace Tavro
