// SPDX-License-Identifier: MIT

#pragma once

#include <sched.h>
#include <sys/types.h>
#include <vector>

namespace Tavro::HostTime {

/// While it lives, threads that the calling thread starts run only on its processor and do not
/// preempt it, so that they first run when it waits or its time slice ends. For starting a thread
/// that checks for work and sleeps if there is none, when the work takes a moment to prepare. It is
/// not a lock: the system may run them earlier. They must not change their scheduling meanwhile. No
/// effect in simulated time, or if the calling thread does not have the normal scheduling policy.
/// Must be destroyed by the thread that made it.
class FirstTurn {
 public:
  FirstTurn();
  ~FirstTurn();  // afterwards they may use all allowed processors
  FirstTurn(const FirstTurn&) = delete;
  FirstTurn& operator=(const FirstTurn&) = delete;

 private:
  void restore(pid_t thread) const;

  cpu_set_t m_allowed;
  std::vector<pid_t> m_others;  // earlier threads, sorted
  bool m_isTaken = false;
};

}  // namespace Tavro::HostTime
