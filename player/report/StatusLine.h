// SPDX-License-Identifier: MIT

#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "player/report/EventFile.h"

namespace Player {

/// Shows the progress: on a terminal in one line that is overwritten, cut to the terminal's width
/// and hidden in the background; elsewhere in a line every ten seconds. Both use real time, even if
/// time is simulated. On a terminal, log lines pass through it while it exists. One instance at a
/// time.
class StatusLine {
 public:
  explicit StatusLine(bool shown);
  ~StatusLine();
  StatusLine(const StatusLine&) = delete;
  StatusLine& operator=(const StatusLine&) = delete;

  struct Status {
    double elapsedSeconds = 0;
    double totalSeconds = 0;   // 0: unknown
    std::uint64_t queued = 0;  // buffers
    PlayerState state = PlayerState::Filling;
  };

  /// May be called at any rate; limits itself. [host-thread]
  void show(const Status& status);

 private:
  const bool m_shown;
  const bool m_onTerminal;
  std::chrono::steady_clock::time_point m_next;
};

}  // namespace Player
