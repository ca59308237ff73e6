// SPDX-License-Identifier: MIT

#include "time/Scheduler.h"

#include <chrono>
#include <thread>
#include <utility>

#include "time/CpuAffinity.h"

// The running thread gives up its turn in wait(), beginJoin() or leave(): under the lock it marks
// itself, and handOver() picks the next thread and moves the time to its deadline, then opens that
// one's gate. The thread that gave up its turn waits at its own. A thread that was not running (its
// first wait, the end of a join) only marks itself, and picks the next thread only if none runs.
//
// While a join is open only its target is picked, and time is paused; once the target has left, no
// thread is picked until the joiner closes the join. So the time at which the joiner continues does
// not depend on how long the operating system takes to join.

namespace Tavro::HostTime {
namespace {

// Trivial types, so that they can be read until the end of a thread.
thread_local Participant* t_member = nullptr;
thread_local Role t_role = Role::Feeder;
thread_local const char* t_name = "feeder";

struct LeaveAtExit {
  ~LeaveAtExit() { Scheduler::instance().leave(std::exchange(t_member, nullptr)); }
};

void takePart(Participant* member) {
  static thread_local LeaveAtExit leaveAtExit;
  t_member = member;
  pthread_getcpuclockid(pthread_self(), &member->cpuClock);
  CpuAffinity::instance().stay();
}

}  // namespace

Scheduler& Scheduler::instance() {
  // Never destroyed: threads may leave after the statics are destroyed.
  static auto* scheduler = new Scheduler;
  return *scheduler;
}

void Scheduler::simulate() {
  const Lock lock(m_lock);
  if (m_simulated) {
    return;
  }
  std::thread([this] { watch(); }).detach();
  t_role = Role::Host;
  t_name = "host";
  m_master = currentMember();
  m_running = m_master;
  m_simulated.store(true, std::memory_order_release);
}

void Scheduler::enlist(Role role, const char* name) {
  t_role = role;
  t_name = name;
  if (t_member != nullptr) {
    const Lock lock(m_lock);
    t_member->role = role;
    t_member->name = name;
  }
}

Participant* Scheduler::currentMember() {
  if (t_member == nullptr) {
    takePart(m_members.add(t_role, t_name));
  }
  return t_member;
}

/// Changes the state under the lock and gives the next turn, unless `change` returns false. The
/// gate of the next thread is opened after the lock is released; otherwise that thread would at
/// once wait for the lock.
template <class Change>
bool Scheduler::handOver(const Change& change) {
  Participant* next = nullptr;
  {
    const Lock lock(m_lock);
    if (!change()) {
      return false;
    }
    next = m_running == nullptr ? pickNext() : nullptr;
    if (next != nullptr) {
      giveTurn(*next);
    }
  }
  if (next != nullptr) {
    next->gate.open();
  }
  return true;
}

void Scheduler::stopRunning(const Participant* member) {
  if (m_running == member) {
    m_running = nullptr;
  }
}

bool Scheduler::wait(std::uint64_t deadline, Signal* signal, const char* what) {
  Participant* self = nullptr;
  bool joining = false;
  handOver([&]() TAVRO_REQUIRES(m_lock) {
    joining = !m_joins.isEmpty();
    self = currentMember();
    self->waiting = true;
    self->what = what;
    self->deadline = deadline;
    self->signal = signal;
    self->signalled = signal != nullptr && signal->m_gate.tryPass();
    if (self->signalled) {
      self->deadline = now();
    } else if (signal != nullptr) {
      signal->m_waiter = self;
    }
    stopRunning(self);
    m_joined.notifyAll();
    return true;
  });
  self->gate.passUntil(kNever);
  if (joining) {
    std::this_thread::yield();  // to the joiner, which has yet to signal this thread to end
  }
  return self->signalled;
}

void Scheduler::notify(Signal& signal) {
  handOver([&]() TAVRO_REQUIRES(m_lock) {
    Participant* waiter = std::exchange(signal.m_waiter, nullptr);
    if (waiter == nullptr) {
      signal.m_gate.open();
      return false;
    }
    waiter->signalled = true;
    waiter->deadline = now();
    return true;
  });
}

Participant* Scheduler::pickNext() {
  if (!m_joins.isEmpty()) {
    Participant* target = m_members.find(m_joins.target());
    return target != nullptr && target->waiting ? target : nullptr;
  }
  if (m_master == nullptr) {
    return nullptr;
  }
  Participant* next = m_members.nextDue();
  if (next != nullptr && next->deadline == kNever) {
    m_stalls.report(now(), "no thread is due");
    return nullptr;
  }
  return next;
}

void Scheduler::giveTurn(Participant& member) {
  if (m_joins.isEmpty() && member.deadline > now()) {
    m_now.store(member.deadline, std::memory_order_release);
  }
  if (member.signal != nullptr && !member.signalled) {
    member.signal->m_waiter = nullptr;
  }
  member.signal = nullptr;
  member.waiting = false;
  m_running = &member;
  ++m_turns;
}

/// Checks periodically, in real time, that the running thread makes progress. Runs on its own
/// thread, because a timer in every wait costs more than the rest of a turn.
void Scheduler::watch() {
  for (;;) {
    monotonicSleepUntil(monotonicNow() + StallWatch::kCheckIntervalNs);
    checkProgress();
  }
}

Participant* Scheduler::announce(Role role, std::string name) {
  const Lock lock(m_lock);
  Participant* member = m_members.add(role, std::move(name));
  member->waiting = true;
  member->deadline = now();
  member->what = "its start";
  return member;
}

void Scheduler::adopt(Participant* member) {
  handOver([&]() TAVRO_REQUIRES(m_lock) {
    takePart(member);
    return true;
  });
  member->gate.passUntil(kNever);
}

void Scheduler::leave(Participant* member) {
  handOver([&]() TAVRO_REQUIRES(m_lock) {
    if (m_master == member) {
      m_master = nullptr;
    }
    stopRunning(member);
    m_members.remove(member);
    return true;
  });
}

std::uint64_t Scheduler::lastJoined() {
  const Lock lock(m_lock);
  return m_members.lastId();
}

MemberId Scheduler::awaitJoined(std::uint64_t after, std::uint64_t patienceMs) {
  const auto deadline = Condition::Clock::now() + std::chrono::milliseconds(patienceMs);
  const Lock lock(m_lock);
  while (m_members.lastId() <= after && m_joined.waitUntil(m_lock, deadline)) {
  }
  return m_members.lastId() > after ? after + 1 : 0;
}

bool Scheduler::beginJoin(MemberId target) {
  return handOver([&]() TAVRO_REQUIRES(m_lock) {
    if (m_members.find(target) == nullptr) {
      return false;
    }
    m_joins.push(t_member, target);
    stopRunning(t_member);
    return true;
  });
}

void Scheduler::endJoin() {
  Participant* self = t_member;
  handOver([&]() TAVRO_REQUIRES(m_lock) {
    m_joins.pop();
    if (self != nullptr && m_joins.targetOf(self) == 0) {
      self->waiting = true;
      self->deadline = now();
      self->what = "its turn after a join";
    } else {
      self = nullptr;
    }
    return true;
  });
  if (self != nullptr) {
    self->gate.passUntil(kNever);
  }
}

void Scheduler::setStallHandler(StallHandler handler) {
  const Lock lock(m_lock);
  m_stalls.setHandler(std::move(handler));
}

void Scheduler::setStallPatience(std::uint64_t milliseconds) {
  const Lock lock(m_lock);
  m_stalls.setPatience(milliseconds);
}

void Scheduler::checkProgress() {
  const Lock lock(m_lock);
  const Participant* joiner = m_joins.isEmpty() ? nullptr : m_joins.joiner();
  m_stalls.check(m_running != nullptr ? m_running : joiner, m_turns, now());
}

}  // namespace Tavro::HostTime
