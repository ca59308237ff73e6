// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>

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
  bool handOver(const Change& change);
  void stopRunning(const Participant* member);
  Participant* currentMember();
  Participant* pickNext();
  void giveTurn(Participant& member);
  void watch();
  void checkProgress();

  std::atomic<bool> m_simulated{false};
  std::atomic<std::uint64_t> m_now{0};

  std::mutex m_lock;  // guards everything below; never held while a thread waits
  std::condition_variable m_joined;
  Participants m_members;
  JoinStack m_joins;
  Participant* m_running = nullptr;
  Participant* m_master = nullptr;  // its exit ends the simulation
  std::uint64_t m_turns = 0;        // given so far
  StallWatch m_stalls{m_members, m_joins};
};

}  // namespace Tavro::HostTime
