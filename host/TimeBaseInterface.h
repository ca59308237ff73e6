// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

/// A playback clock that the graph can follow. The session clock calls it on host threads.
class TimeBaseInterface {
 public:
  virtual ~TimeBaseInterface() = default;
  virtual std::uint32_t currentTime() = 0;  // milliseconds, modulo 2^32
  virtual bool isRunning() = 0;
  virtual std::uint32_t timeBasePriority() = 0;
};

}  // namespace Tavro
