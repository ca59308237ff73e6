#pragma once

#include <cstdint>

#include "player/ExitStatus.h"
#include "time/HostTime.h"

namespace Player {

/// Watches a count that is to rise as long as playback goes on.
class Progress {
 public:
  /// Throws PlayerError when it has not risen for too long.
  void check(std::uint64_t count) {
    const std::uint64_t now = Tavro::HostTime::now();
    if (count != m_count) {
      m_count = count;
      m_since = now;
    } else if (now - m_since > kPatienceNs) {
      throw PlayerError(ExitStatus::PlaybackFailed, "the output has not played for 10 s");
    }
  }

 private:
  static constexpr std::uint64_t kPatienceNs = 10'000'000'000;

  std::uint64_t m_count = 0;
  std::uint64_t m_since = Tavro::HostTime::now();
};

}  // namespace Player
