#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

/// The host's sleep and millisecond clock in a test's hand.

/// Where sleepers stay. Parked, the one feeder of a test moves only by step(), so that a test knows
/// what it does next; open, sleepers return by themselves.
class SleepGate {
 public:
  static SleepGate& instance();

  void park();
  void open();

  /// Waits until a thread sleeps here; a thread that never comes ends the process with a message.
  void awaitSleeper();

  /// Lets the sleeper go and waits until it sleeps again. Parked only.
  void step();

  /// Lets the sleeper go and does not wait.
  void release();

  std::vector<unsigned long long> takeDurations();  // milliseconds asked for, in order

  void sleep(unsigned long long ms);  // SleepMS

 private:
  void await(const char* what, std::unique_lock<std::mutex>& lock, bool (SleepGate::*met)());
  bool sleeperHere() { return m_asleep > 0; }
  bool sleeperBack() { return m_arrivals > m_granted; }

  std::mutex m_lock;
  std::condition_variable m_changed;
  bool m_open = false;
  unsigned m_asleep = 0;
  std::uint64_t m_arrivals = 0;
  std::uint64_t m_granted = 0;  // arrivals up to this one may go on
  std::vector<unsigned long long> m_durations;
};

/// GetTimeMS.
struct FakeWallClock {
  static FakeWallClock& instance();
  std::atomic<std::uint64_t> ms{1};
  std::atomic<unsigned> reads{0};
};
