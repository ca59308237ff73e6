// SPDX-License-Identifier: MIT

#include "platform/drivers/pulse/StreamConfig.h"

#include <algorithm>

namespace Platform {

std::uint32_t StreamConfig::cyclesOf(std::uint32_t milliseconds) const {
  return (spec.rate / 1000 * milliseconds + cycleFrames - 1) / cycleFrames;
}

std::uint32_t StreamConfig::bufferFrames() const {
  constexpr std::uint32_t kLeastCycles = 4;
  return std::max(cyclesOf(kServerBufferMs), kLeastCycles) * cycleFrames;
}

}  // namespace Platform
