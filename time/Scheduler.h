// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <pthread.h>
#include <string>
#include <time.h>
#include <vector>

#include "time/AutoResetEvent.h"
#include "time/HostTime.h"

namespace Tavro::HostTime {

/// A thread that participates in simulated time. Guarded by the scheduler's lock, except the gate.
struct Participant {
  MemberId id = 0;
  Role role = Role::Feeder;
  std::string name;
  bool waiting = false;
  std::uint64_t deadline = 0;
  const char* what = "";
  Signal* signal = nullptr;              // the signal it waits on, if any
  bool signalled = false;                // the signal ended the last wait
  clockid_t cpuClock = CLOCK_MONOTONIC;  // of the thread, to tell work from blocking
  AutoResetEvent gate;
};

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
  struct Join {
    Participant* joiner;  // null for a thread that does not participate
    MemberId target;
  };

  Participant* addMember(Role role, std::string name);
  Participant* currentMember();
  Participant* find(MemberId id);
  Participant* dispatch();
  Participant* pickNext();
  void giveTurn(Participant& member);
  void watch();
  void checkProgress();
  std::string report(const std::string& headline);

  std::atomic<bool> m_simulated{false};
  std::atomic<std::uint64_t> m_now{0};

  std::mutex m_lock;  // guards everything below; never held while a thread waits
  std::condition_variable m_joined;
  std::vector<std::unique_ptr<Participant>> m_members;
  std::vector<Join> m_joins;  // the innermost last
  Participant* m_running = nullptr;
  Participant* m_master = nullptr;  // its exit ends the simulation
  MemberId m_lastId = 0;
  std::uint64_t m_switches = 0;

  std::uint64_t m_patienceMs = 30'000;
  std::uint64_t m_checkedSwitches = 0;
  std::uint64_t m_checkedCpuTime = 0;
  std::uint64_t m_stoodStillMs = 0;
  StallHandler m_stallHandler;
};

}  // namespace Tavro::HostTime
