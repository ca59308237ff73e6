// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>

/// The host's sleep and millisecond clock in a test's hand.

/// Where sleepers stay. Parked, the one feeder of a test moves only by step(), so that a test knows
/// what it does next; open, sleepers return by themselves.
class SleepGate {
 public:
  static SleepGate& instance() {
    static SleepGate gate;
    return gate;
  }

  void park() {
    std::lock_guard lock(m_lock);
    m_open = false;
  }

  void open() {
    std::lock_guard lock(m_lock);
    m_open = true;
    m_changed.notify_all();
  }

  /// Waits until a thread sleeps here.
  void awaitSleeper() {
    std::unique_lock lock(m_lock);
    m_changed.wait(lock, [this] { return m_asleep > 0; });
  }

  /// Lets the sleeper go and waits until it sleeps again. Parked only.
  void step() {
    std::unique_lock lock(m_lock);
    m_changed.wait(lock, [this] { return m_asleep > 0; });
    m_granted = m_arrivals;
    m_changed.notify_all();
    m_changed.wait(lock, [this] { return m_arrivals > m_granted; });
  }

  void sleep();  // SleepMS

 private:
  std::mutex m_lock;
  std::condition_variable m_changed;
  bool m_open = false;
  unsigned m_asleep = 0;
  std::uint64_t m_arrivals = 0;
  std::uint64_t m_granted = 0;  // arrivals up to this one may go on
};

/// GetTimeMS.
struct FakeWallClock {
  static FakeWallClock& instance() {
    static FakeWallClock clock;
    return clock;
  }
  std::atomic<std::uint64_t> ms{1};
  std::atomic<unsigned> reads{0};
};
