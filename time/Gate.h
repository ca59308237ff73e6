#pragma once

#include <atomic>
#include <cstdint>

namespace Tavro::HostTime {

/// Nanoseconds of the monotonic clock.
std::uint64_t monotonicNow();

/// Sleeps until the monotonic clock has reached `deadline`.
void monotonicSleepUntil(std::uint64_t deadline);

/// Binary event for one waiter on a futex: what a Signal is in real time, and what a parked thread
/// waits on in simulated time. Opening it is a store, and a system call only when somebody waits.
class Gate {
 public:
  void open();  // [any-thread], real-time safe

  /// Passes and closes the gate behind the caller: true. False when `deadline` (monotonic
  /// nanoseconds, kNever: none) came first.
  bool passUntil(std::uint64_t deadline);

  /// Passes if it is open now.
  bool tryPass();

 private:
  enum State : std::uint32_t { kClosed, kOpen, kWaited };
  std::atomic<std::uint32_t> m_state{kClosed};
};

}  // namespace Tavro::HostTime
