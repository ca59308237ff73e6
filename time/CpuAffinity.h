// SPDX-License-Identifier: MIT

#pragma once

#include <sched.h>

namespace Tavro::HostTime {

/// The processor shared by threads that take turns. Another process that simulates may use another
/// one. [any-thread]
class CpuAffinity {
 public:
  static CpuAffinity& instance();

  void stay();  // the calling thread runs only there
  void roam();  // the calling thread may use the processors that the process initially had

 private:
  CpuAffinity();

  cpu_set_t m_allowed;
  cpu_set_t m_one;
};

}  // namespace Tavro::HostTime
