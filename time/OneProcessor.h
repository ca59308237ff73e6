#pragma once

#include <sched.h>

namespace Tavro::HostTime {

/// The processor that threads which take turns share. Another process simulates on another one
/// where there is one. [any-thread]
class OneProcessor {
 public:
  static OneProcessor& instance();

  void stay();  // the calling thread runs there alone
  void roam();  // the calling thread runs wherever the process could at first

 private:
  OneProcessor();

  cpu_set_t m_allowed;
  cpu_set_t m_one;
};

}  // namespace Tavro::HostTime
