// SPDX-License-Identifier: MIT

#include "time/AutoResetEvent.h"

#include <cerrno>
#include <ctime>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "locks/NonBlocking.h"
#include "time/HostTime.h"
#include "time/Nanoseconds.h"

namespace Tavro::HostTime {
namespace {

timespec toTimespec(std::uint64_t nanoseconds) {
  return {static_cast<time_t>(nanoseconds / kNanosPerSecond),
          static_cast<long>(nanoseconds % kNanosPerSecond)};
}

void futexWait(std::atomic<std::uint32_t>& word, std::uint32_t expected, std::uint64_t deadline) {
  const timespec until = toTimespec(deadline);
  // The bitset form takes an absolute time of the monotonic clock.
  syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, expected,
          deadline == kNever ? nullptr : &until, nullptr, FUTEX_BITSET_MATCH_ANY);
}

/// A system call that does not wait.
void futexWake(std::atomic<std::uint32_t>& word) {
  TAVRO_MAY_BLOCK;
  syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

}  // namespace

std::uint64_t monotonicNow() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * kNanosPerSecond +
         static_cast<std::uint64_t>(now.tv_nsec);
}

void monotonicSleepUntil(std::uint64_t deadline) {
  const timespec until = toTimespec(deadline);
  while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
  }
}

void AutoResetEvent::open() {
  if (m_state.exchange(kOpen, std::memory_order_acq_rel) == kWaited) {
    futexWake(m_state);
  }
}

bool AutoResetEvent::tryPass() {
  std::uint32_t open = kOpen;
  return m_state.compare_exchange_strong(open, kClosed, std::memory_order_acquire);
}

bool AutoResetEvent::passUntil(std::uint64_t deadline) {
  for (;;) {
    std::uint32_t state = kOpen;
    if (m_state.compare_exchange_strong(state, kClosed, std::memory_order_acquire)) {
      return true;
    }
    if (deadline != kNever && monotonicNow() >= deadline) {
      // No thread waits any more, unless the gate has been opened since.
      std::uint32_t waited = kWaited;
      m_state.compare_exchange_strong(waited, kClosed, std::memory_order_relaxed);
      return tryPass();
    }
    if (state == kClosed &&
        !m_state.compare_exchange_strong(state, kWaited, std::memory_order_relaxed)) {
      continue;
    }
    futexWait(m_state, kWaited, deadline);
  }
}

}  // namespace Tavro::HostTime
