#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "player/report/EventFile.h"

namespace Player {

/// Shows the progress: on a terminal one line that is written over, cut to the terminal's width and
/// left out in the background; elsewhere a line every ten seconds. Both go by real time, in
/// simulated time too. While it lives, log lines come through it. One at a time.
class StatusLine {
 public:
  explicit StatusLine(bool shown);
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  struct Status {
    double elapsedSeconds = 0;
    double totalSeconds = 0;   // 0: not known
    std::uint64_t queued = 0;  // buffers
    PlayerState state = PlayerState::Filling;
  };

  /// As often as convenient. [host-thread]
  void show(const Status& status);

 private:
  const bool m_shown;
  const bool m_onTerminal;
  std::chrono::steady_clock::time_point m_next;
};

}  // namespace Player
