// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <condition_variable>

#include "locks/Mutex.h"

namespace Tavro {

/// A condition variable for Mutex. Waits may end early, so the caller checks its condition in a
/// loop, where the analysis sees that the mutex is held.
class Condition {
 public:
  using Clock = std::chrono::steady_clock;

  void notifyOne() { m_native.notify_one(); }
  void notifyAll() { m_native.notify_all(); }

  template <LockRank rank>
  void wait(Mutex<rank>& mutex) TAVRO_REQUIRES(mutex) {
    std::unique_lock held(mutex.m_native, std::adopt_lock);
    m_native.wait(held);
    held.release();
  }

  /// Returns false if the deadline has passed.
  template <LockRank rank>
  bool waitUntil(Mutex<rank>& mutex, Clock::time_point deadline) TAVRO_REQUIRES(mutex) {
    std::unique_lock held(mutex.m_native, std::adopt_lock);
    const std::cv_status status = m_native.wait_until(held, deadline);
    held.release();
    return status == std::cv_status::no_timeout;
  }

 private:
  std::condition_variable m_native;
};

}  // namespace Tavro
