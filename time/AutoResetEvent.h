// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstdint>

namespace Tavro::HostTime {

/// Returns the nanoseconds of the monotonic clock.
std::uint64_t monotonicNow();

/// Sleeps until the monotonic clock has reached `deadline`.
void monotonicSleepUntil(std::uint64_t deadline);

/// Binary event for one waiter on a futex. It implements Signal in real time, and parks a thread in
/// simulated time. Opening it is one atomic operation, and a system call only if a thread waits.
class AutoResetEvent {
 public:
  void open();  // [any-thread], real-time safe

  /// Waits until the gate is open, closes it and returns true. Returns false if `deadline`
  /// (monotonic nanoseconds, kNever for none) comes first.
  bool passUntil(std::uint64_t deadline);

  /// Returns true and closes the gate if it is open now.
  bool tryPass();

 private:
  enum State : std::uint32_t { kClosed, kOpen, kWaited };
  std::atomic<std::uint32_t> m_state{kClosed};
};

}  // namespace Tavro::HostTime
