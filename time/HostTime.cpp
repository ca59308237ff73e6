// SPDX-License-Identifier: MIT

#include "time/HostTime.h"

#include <utility>

#include "locks/NonBlocking.h"
#include "time/CpuAffinity.h"
#include "time/Scheduler.h"

namespace Tavro::HostTime {

void simulate() { Scheduler::instance().simulate(); }

bool isSimulated() { return Scheduler::instance().isSimulated(); }

std::uint64_t now() {
  const Scheduler& scheduler = Scheduler::instance();
  return scheduler.isSimulated() ? scheduler.now() : monotonicNow();
}

void enlist(Role role, const char* name) { Scheduler::instance().enlist(role, name); }

void useAnyProcessor() { CpuAffinity::instance().roam(); }

void Signal::notify() {
  if (isSimulated()) {
    TAVRO_MAY_BLOCK;  // threads take turns, and none is in a hurry
    Scheduler::instance().notify(*this);
  } else {
    m_gate.open();
  }
}

void waitUntil(std::uint64_t deadline, const char* what) {
  if (isSimulated()) {
    Scheduler::instance().wait(deadline, nullptr, what);
  } else {
    monotonicSleepUntil(deadline);
  }
}

bool waitUntil(std::uint64_t deadline, Signal& signal, const char* what) {
  return isSimulated() ? Scheduler::instance().wait(deadline, &signal, what)
                       : signal.m_gate.passUntil(deadline);
}

Thread::Thread(Role role, std::string name, std::function<void()> body) {
  Participant* member =
      isSimulated() ? Scheduler::instance().announce(role, std::move(name)) : nullptr;
  m_member = member != nullptr ? member->id : 0;
  m_thread = std::thread([member, body = std::move(body)] {
    if (member != nullptr) {
      Scheduler::instance().adopt(member);
    }
    body();
  });
}

Thread::~Thread() {
  if (m_thread.joinable()) {
    join();
  }
}

void Thread::join() {
  JoinScope scope(m_member);
  m_thread.join();
}

ThreadStartWaiter::ThreadStartWaiter() : m_before(Scheduler::instance().lastJoined()) {}

MemberId ThreadStartWaiter::await(std::uint64_t patienceMs) {
  return isSimulated() ? Scheduler::instance().awaitJoined(m_before, patienceMs) : 0;
}

JoinScope::JoinScope(MemberId member)
    : m_active(member != 0 && isSimulated() && Scheduler::instance().beginJoin(member)) {}

JoinScope::~JoinScope() {
  if (m_active) {
    Scheduler::instance().endJoin();
  }
}

void setStallHandler(StallHandler handler) {
  Scheduler::instance().setStallHandler(std::move(handler));
}

void setStallPatience(std::uint64_t milliseconds) {
  Scheduler::instance().setStallPatience(milliseconds);
}

}  // namespace Tavro::HostTime
