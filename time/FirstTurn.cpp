// SPDX-License-Identifier: MIT

#include "time/FirstTurn.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>

#include "time/HostTime.h"

namespace Tavro::HostTime {

namespace {

std::vector<pid_t> threads() {
  std::vector<pid_t> found;
  std::error_code failed;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task", failed)) {
    found.push_back(std::stoi(entry.path().filename()));
  }
  std::sort(found.begin(), found.end());
  return found;
}

/// A refusal only costs time.
void setPolicy(pid_t thread, int policy) {
  const sched_param normal{};
  sched_setscheduler(thread, policy, &normal);
}

}  // namespace

FirstTurn::FirstTurn() {
  const int here = sched_getcpu();
  CPU_ZERO(&m_allowed);
  if (isSimulated() || here < 0 || sched_getscheduler(0) != SCHED_OTHER ||
      sched_getaffinity(0, sizeof m_allowed, &m_allowed) != 0) {
    return;
  }
  m_others = threads();
  cpu_set_t one;
  CPU_ZERO(&one);
  CPU_SET(here, &one);
  m_isTaken = sched_setaffinity(0, sizeof one, &one) == 0;
  if (m_isTaken) {
    // A new thread inherits this policy, with which it does not preempt its creator.
    setPolicy(0, SCHED_BATCH);
  }
}

FirstTurn::~FirstTurn() {
  if (!m_isTaken) {
    return;
  }
  restore(0);
  for (const pid_t thread : threads()) {
    const bool isNew = !std::binary_search(m_others.begin(), m_others.end(), thread);
    if (isNew &&
        sched_getscheduler(thread) == SCHED_BATCH) {  // other threads may have started some
      restore(thread);
    }
  }
}

void FirstTurn::restore(pid_t thread) const {
  setPolicy(thread, SCHED_OTHER);
  sched_setaffinity(thread, sizeof m_allowed, &m_allowed);
}

}  // namespace Tavro::HostTime
