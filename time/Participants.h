// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
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

/// The threads that participate, in the order of joining. Guarded by the scheduler's lock.
class Participants {
 public:
  Participant* add(Role role, std::string name);
  void remove(const Participant* member);

  Participant* find(MemberId id) const;         // null if it has left
  MemberId lastId() const { return m_lastId; }  // of the one that joined last

  /// Returns the waiting one that is due first, or null if none waits.
  Participant* nextDue() const;

  auto begin() const { return m_members.begin(); }
  auto end() const { return m_members.end(); }

 private:
  std::vector<std::unique_ptr<Participant>> m_members;
  MemberId m_lastId = 0;
};

}  // namespace Tavro::HostTime
