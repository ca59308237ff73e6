// SPDX-License-Identifier: MIT

#include "time/CpuAffinity.h"

#include <unistd.h>

namespace Tavro::HostTime {

CpuAffinity& CpuAffinity::instance() {
  static CpuAffinity processor;
  return processor;
}

CpuAffinity::CpuAffinity() {
  CPU_ZERO(&m_allowed);
  CPU_ZERO(&m_one);
  sched_getaffinity(0, sizeof m_allowed, &m_allowed);
  int left = getpid() % (CPU_COUNT(&m_allowed) > 0 ? CPU_COUNT(&m_allowed) : 1);
  for (int processor = 0; processor < CPU_SETSIZE; ++processor) {
    if (CPU_ISSET(processor, &m_allowed) && left-- == 0) {
      CPU_SET(processor, &m_one);
    }
  }
}

// A refusal only costs speed.
void CpuAffinity::stay() { sched_setaffinity(0, sizeof m_one, &m_one); }

void CpuAffinity::roam() { sched_setaffinity(0, sizeof m_allowed, &m_allowed); }

}  // namespace Tavro::HostTime
