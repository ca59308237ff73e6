// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

enum class MediaType : std::uint32_t { Audio = 2 };
enum class DataModel : std::uint32_t { Stream = 2 };
enum class PortType : std::uint32_t { Input = 1 };

}  // namespace Tavro
