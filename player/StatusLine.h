#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "player/EventFile.h"

namespace Player {

/// How far it is: on a terminal one line that is written over, elsewhere a line every ten seconds,
/// both by the wall, in simulated time too. While it lives, log lines come through it. One at a
/// time.
class StatusLine {
 public:
  explicit StatusLine(bool shown);
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  struct Status {
    double elapsedSeconds;
    double totalSeconds;   // 0: not known
    std::uint64_t queued;  // buffers
    PlayerState state;
  };

  /// As often as convenient. [host-thread]
  void show(const Status& status);

 private:
  const bool m_shown;
  const bool m_onTerminal;
  std::chrono::steady_clock::time_point m_next;
};

}  // namespace Player
