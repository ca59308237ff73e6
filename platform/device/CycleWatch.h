// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "platform/device/CycleRunner.h"
#include "platform/device/StallDetector.h"
#include "platform/driver/Driver.h"

namespace Platform {

/// Watches whether a device that should play runs its cycles, and whether another program has
/// suspended it. Takes no lock of the device.
class CycleWatch {
 public:
  /// Both outlive it.
  CycleWatch(const CycleRunner& cycles, const Driver& driver)
      : m_cycles(cycles), m_driver(driver) {}

  /// Returns true if it should play but is stalled, as found by the last poll. [any-thread]
  bool isStalled() const { return m_isStalled.load(); }
  bool isSuspended() const { return m_cycles.hasClients() && m_driver.isSuspended(); }

  /// Returns the finding at `nowNs`, in host time. [device watch]
  StallDetector::Finding poll(std::uint64_t nowNs, bool isAlive);
  /// Returns the new suspended state if it changed since the last call, otherwise nothing.
  /// [device watch]
  std::optional<bool> changeOfSuspension();

 private:
  const CycleRunner& m_cycles;
  const Driver& m_driver;

  // Used by the device watch only
  StallDetector m_detector;
  bool m_wasSuspended = false;

  std::atomic<bool> m_isStalled{false};
};

}  // namespace Platform
