// SPDX-License-Identifier: MIT

#include "platform/device/CycleWatch.h"

#include <utility>

namespace Platform {

StallDetector::Finding CycleWatch::poll(std::uint64_t nowNs, bool isAlive) {
  const bool plays = isAlive && m_cycles.hasClients() && m_driver.isSounding() && !isSuspended();
  const DeviceState present = m_cycles.state();
  const auto cycleNs =
      plays ? static_cast<std::uint64_t>(present.cycleFrames() * 1e9 / present.sampleRate()) : 0;
  const auto finding = m_detector.poll(nowNs, plays, m_cycles.count(), cycleNs);
  m_isStalled = m_detector.isStalled();
  return finding;
}

std::optional<bool> CycleWatch::changeOfSuspension() {
  const bool now = isSuspended();
  return std::exchange(m_wasSuspended, now) != now ? std::optional(now) : std::nullopt;
}

}  // namespace Platform
