#pragma once

#include <sched.h>
#include <sys/types.h>
#include <vector>

namespace Tavro::HostTime {

/// While it lives, threads that the calling thread starts run on its processor only: behind it, so
/// that they look around for the first time when it waits, or its turn is over. For a thread that
/// looks whether there is work and rests if not, when the work takes a moment to prepare. It is no
/// lock: the system may let them run earlier. None of them may change its own scheduling meanwhile.
/// Nothing in simulated time, or where the calling thread is scheduled in a way of its own.
/// Destroyed by the thread that made it.
class FirstTurn {
 public:
  FirstTurn();
  ~FirstTurn();  // they run wherever they may from here on
  FirstTurn(const FirstTurn&) = delete;
  FirstTurn& operator=(const FirstTurn&) = delete;

 private:
  void letGo(pid_t thread) const;

  cpu_set_t m_allowed;
  std::vector<pid_t> m_others;  // threads before; sorted
  bool m_isTaken = false;
};

}  // namespace Tavro::HostTime
