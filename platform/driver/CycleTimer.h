// SPDX-License-Identifier: MIT

#pragma once

/// A thread that runs a device's cycles by host time, for drivers without a clock of their own.

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "platform/driver/Driver.h"
#include "time/HostTime.h"

namespace Platform {

class CycleTimer {
 public:
  /// `afterCycle` runs on the thread after each cycle, including the last, which plays nothing,
  /// with no lock held. `clockPpm`: how much faster than nominal the device runs.
  CycleTimer(std::string name, std::function<void()> afterCycle, int clockPpm = 0);
  ~CycleTimer() { stop(); }
  CycleTimer(const CycleTimer&) = delete;
  CycleTimer& operator=(const CycleTimer&) = delete;

  void start(CycleSource& source);
  void stop();

 private:
  void run(CycleSource& source);
  std::uint64_t offsetNs(std::uint64_t frames, double rate) const;

  const std::string m_name;
  const std::function<void()> m_afterCycle;
  const int m_clockPpm;
  std::atomic<bool> m_stopping{false};
  Tavro::HostTime::Signal m_wake;
  std::unique_ptr<Tavro::HostTime::Thread> m_thread;
};

}  // namespace Platform
