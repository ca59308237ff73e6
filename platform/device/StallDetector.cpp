// SPDX-License-Identifier: MIT

#include "platform/device/StallDetector.h"

#include <algorithm>
#include <utility>

namespace Platform {
namespace {

constexpr std::uint64_t kSecondNs = 1'000'000'000;
constexpr std::uint64_t kStallCycles = 4;

// A reopened device takes a buffer's worth of cycles at once, even if it then stalls again.
constexpr std::uint64_t kSteadyNs = 5 * kSecondNs;

}  // namespace

StallDetector::Finding StallDetector::poll(std::uint64_t nowNs, bool plays, std::uint64_t cycles,
                                           std::uint64_t cycleNs) {
  if (!plays || std::exchange(m_cycles, cycles) != cycles) {
    m_sinceNs = nowNs;
    if (!std::exchange(m_isStalled, false)) {
      return Finding::Fine;
    }
    m_wentOnNs = nowNs;
    return Finding::Resumed;
  }
  if (!m_isStalled) {
    if (nowNs - m_sinceNs <= std::max(kSecondNs, kStallCycles * cycleNs)) {
      return Finding::Fine;
    }
    m_isStalled = true;
    if (m_sinceNs - m_wentOnNs > kSteadyNs) {
      m_backOff.reset();
    }
    scheduleTry(nowNs);
    return Finding::Stalled;
  }
  if (nowNs < m_nextTryNs) {
    return Finding::Stands;
  }
  m_backOff.increase();
  scheduleTry(nowNs);
  return Finding::Reopen;
}

void StallDetector::scheduleTry(std::uint64_t nowNs) {
  m_nextTryNs = nowNs + static_cast<std::uint64_t>(m_backOff.interval().count());
}

}  // namespace Platform
