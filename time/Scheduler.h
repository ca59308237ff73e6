// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "locks/Condition.h"
#include "locks/Mutex.h"
#include "time/HostTime.h"
#include "time/JoinStack.h"
#include "time/Participants.h"
#include "time/StallWatch.h"

namespace Tavro::HostTime {

/// The rules of simulated time: which thread runs next and when time jumps. There is one lock; a
/// thread that gives up its turn picks the next one under it and opens that one's gate.
class Scheduler {
 public:
  static Scheduler& instance();

  bool isSimulated() const { return m_simulated.load(std::memory_order_acquire); }
  std::uint64_t now() const { return m_now.load(std::memory_order_acquire); }

  void simulate();
  void enlist(Role role, const char* name);
  bool wait(std::uint64_t deadline, Signal* signal, const char* what);
  void notify(Signal& signal);

  Participant* announce(Role role, std::string name);  // by the creator of a Thread
  void adopt(Participant* member);  // by the new thread; returns at its first turn
  void leave(Participant* member);  // by the thread's exit

  std::uint64_t lastJoined();
  MemberId awaitJoined(std::uint64_t after, std::uint64_t patienceMs);
  bool beginJoin(MemberId target);
  void endJoin();

  void setStallHandler(StallHandler handler);
  void setStallPatience(std::uint64_t milliseconds);

 private:
  template <class Change>
  bool handOver(const Change& change) TAVRO_EXCLUDES(m_lock);
  void stopRunning(const Participant* member) TAVRO_REQUIRES(m_lock);
  Participant* currentMember() TAVRO_REQUIRES(m_lock);
  Participant* pickNext() TAVRO_REQUIRES(m_lock);
  void giveTurn(Participant& member) TAVRO_REQUIRES(m_lock);
  void watch();
  void checkProgress();

  std::atomic<bool> m_simulated{false};
  std::atomic<std::uint64_t> m_now{0};

  Mutex<LockRank::SchedulerState> m_lock;  // never held while a thread waits for its turn
  Condition m_joined;
  Participants m_members TAVRO_GUARDED_BY(m_lock);
  JoinStack m_joins TAVRO_GUARDED_BY(m_lock);
  Participant* m_running TAVRO_GUARDED_BY(m_lock) = nullptr;
  Participant* m_master TAVRO_GUARDED_BY(m_lock) = nullptr;  // its exit ends the simulation
  std::uint64_t m_turns TAVRO_GUARDED_BY(m_lock) = 0;        // given so far
  StallWatch m_stalls TAVRO_GUARDED_BY(m_lock){m_members, m_joins};
};

}  // namespace Tavro::HostTime
