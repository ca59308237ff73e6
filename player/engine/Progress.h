// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <cstdint>
#include <utility>

#include "player/base/ExitStatus.h"
#include "time/HostTime.h"

namespace Player {

/// Measures host time from check to check, as long as the process runs: while it is stopped (by
/// Ctrl-Z, say) nothing can happen, so nothing is overdue.
class RunningTime {
 public:
  /// Returns nanoseconds since the start or the last restart. Call it a few times a second.
  std::uint64_t elapsed() {
    const std::uint64_t now = Tavro::HostTime::now();
    m_elapsed += std::min(now - std::exchange(m_last, now), kLongestStepNs);
    return m_elapsed;
  }
  void restart() {
    m_elapsed = 0;
    m_last = Tavro::HostTime::now();
  }

 private:
  static constexpr std::uint64_t kLongestStepNs = 200'000'000;

  std::uint64_t m_elapsed = 0;
  std::uint64_t m_last = Tavro::HostTime::now();
};

/// Watches a count that should rise as long as playback continues.
class Progress {
 public:
  /// Throws PlayerError when it has not risen for too long.
  void check(std::uint64_t count) {
    if (std::exchange(m_count, count) != count) {
      m_since.restart();
    } else if (m_since.elapsed() > kPatienceNs) {
      throw PlayerError(ExitStatus::PlaybackFailed, "the output has not played for 10 s");
    }
  }

 private:
  static constexpr std::uint64_t kPatienceNs = 10'000'000'000;

  std::uint64_t m_count = 0;
  RunningTime m_since;
};

}  // namespace Player
