// SPDX-License-Identifier: MIT

#pragma once

/// Exponential back-off: the interval to the next attempt, which doubles up to a limit. Holds no
/// lock.

#include <algorithm>
#include <chrono>

namespace Platform {

class BackOff {
 public:
  using Interval = std::chrono::nanoseconds;

  constexpr BackOff(Interval first, Interval longest)
      : m_first(first), m_longest(longest), m_interval(first) {}

  Interval interval() const { return m_interval; }
  void increase() { m_interval = std::min(2 * m_interval, m_longest); }
  void reset() { m_interval = m_first; }

 private:
  Interval m_first;
  Interval m_longest;
  Interval m_interval;
};

}  // namespace Platform
