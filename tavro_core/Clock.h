// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstdint>
#include <vector>

#include "host/GraphSession.h"
#include "locks/Mutex.h"
#include "tavro_core/ClockReading.h"
#include "time/HostTime.h"

namespace Tavro {

/// The graph's time, in milliseconds. It follows the sound, not wall time: components offer time
/// bases, and the clock follows the running one with the highest priority (the earlier added among
/// equals).
///
/// States: stopped at its set value → start() arms it, still stopped → the first running time base
/// moves, and the clock follows it → pause() stops it again.
///
/// - It follows the differences of a time base, never its value. Where one begins to move is an
///   anchor.
/// - A jump of a time base, backwards or further than host time explains, sets a new anchor.
/// - If it is ahead of its time base, it waits: it never runs backwards, except by set().
/// - Once it runs, it keeps running: with no running time base it follows host time.
/// - While the process is stopped (SIGSTOP, a debugger), it is too. Afterwards it continues as
///   after start().
///
/// The clock's own thread queries the time bases every 10 ms, and so does every change by the host;
/// in between, host time extrapolates the last value. So reading the time queries no time base.
class Clock final : public SessionClock {
 public:
  Clock();
  ~Clock() override;

  std::uint32_t currentTime() override;                    // [any-thread], real-time safe
  void addTimeBase(TimeBaseInterface* timeBase) override;  // [host-thread]

  /// The time base is not queried any more once this has returned. [host-thread]
  void removeTimeBase(TimeBaseInterface* timeBase) override;

  void start();                     // [host-thread]
  void pause();                     // [host-thread]
  void set(std::uint32_t graphMs);  // a seek, in any state [host-thread]
  void sample();                    // queries the time bases now [host-thread]

 private:
  enum class State : std::uint8_t { Stands, Armed, Follows };

  void run();
  void askTimeBases() TAVRO_REQUIRES(m_lock);
  TimeBaseInterface* leader() const TAVRO_REQUIRES(m_lock);
  void follow(std::uint32_t baseMs, std::uint32_t hostMs) TAVRO_REQUIRES(m_lock);
  void anchor(std::uint32_t baseMs, std::uint32_t hostMs) TAVRO_REQUIRES(m_lock);
  void steer(std::uint32_t targetMs, std::uint32_t hostMs) TAVRO_REQUIRES(m_lock);
  bool wasStopped(std::uint32_t hostMs) const;
  ClockReading reading() const TAVRO_REQUIRES(m_lock);
  void publish(ClockReading reading) TAVRO_REQUIRES(m_lock);

  // A packed ClockReading. Written with m_lock held.
  std::atomic<std::uint64_t> m_reading{0};
  std::atomic<std::uint32_t> m_answered{0};   // the time last read
  std::atomic<std::uint32_t> m_sampledMs{0};  // host time of the last query of the time bases

  // Held while time bases are queried, so that no query of a removed one is under way. Time bases
  // take locks of their components under it: no caller that holds those may call the clock's
  // [host-thread] operations.
  Mutex<LockRank::ClockState> m_lock;
  std::vector<TimeBaseInterface*> m_timeBases TAVRO_GUARDED_BY(m_lock);
  State m_state TAVRO_GUARDED_BY(m_lock) = State::Stands;
  TimeBaseInterface* m_followed TAVRO_GUARDED_BY(m_lock) = nullptr;
  bool m_moves TAVRO_GUARDED_BY(m_lock) = false;  // m_followed has moved since it was chosen
  std::uint32_t m_lastBaseMs TAVRO_GUARDED_BY(m_lock) = 0;  // its last value
  std::uint32_t m_lastHostMs TAVRO_GUARDED_BY(m_lock) = 0;  // host time of that value
  std::uint32_t m_anchorBaseMs TAVRO_GUARDED_BY(m_lock) = 0;
  std::uint32_t m_anchorGraphMs TAVRO_GUARDED_BY(m_lock) = 0;

  std::atomic<bool> m_ends{false};
  std::atomic<bool> m_idle{true};  // nothing to query: m_state == Stands
  HostTime::Signal m_wake;
  HostTime::Thread m_thread;
};

}  // namespace Tavro
