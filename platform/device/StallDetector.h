// SPDX-License-Identifier: MIT

#pragma once

/// Detects a stalled device: one that should be playing but runs no cycles (not one that plays
/// silence). Schedules reopening with exponential back-off, which is kept if the device only runs
/// briefly. The caller passes host time.

#include <chrono>
#include <cstdint>

#include "platform/device/BackOff.h"

namespace Platform {

class StallDetector {
 public:
  enum class Finding : std::uint8_t {
    Fine,
    Stalled,  // no cycle for 1 s and for four cycle lengths
    Stands,
    Reopen,   // stalled, and due to be reopened
    Resumed,  // was stalled, and runs again
  };

  /// `cycles` is the count so far, `cycleNs` the length of one. Call it a few times a second.
  Finding poll(std::uint64_t nowNs, bool plays, std::uint64_t cycles, std::uint64_t cycleNs);

  bool isStalled() const { return m_isStalled; }

 private:
  void scheduleTry(std::uint64_t nowNs);

  std::uint64_t m_cycles = 0;
  std::uint64_t m_sinceNs = 0;   // when it last was not stalling
  std::uint64_t m_wentOnNs = 0;  // when it last resumed
  std::uint64_t m_nextTryNs = 0;
  // Reopening loses what is in the buffer, so a short stall is waited out.
  BackOff m_backOff{std::chrono::seconds(2), std::chrono::seconds(16)};
  bool m_isStalled = false;
};

}  // namespace Platform
