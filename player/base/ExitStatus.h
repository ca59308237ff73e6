// SPDX-License-Identifier: MIT

#pragma once

#include <stdexcept>
#include <string>

namespace Player {

/// The program's exit status: that of the first failure that ends playback. An unreadable input
/// does not end playback.
enum class ExitStatus : int {
  Played = 0,  // finished, or stopped by the user
  PlaybackFailed = 1,
  Usage = 2,
  InputUnreadable = 3,
  DeviceFailed = 4,
  Interrupted = 130,  // by SIGINT
  Terminated = 143    // by SIGTERM
};

constexpr bool isInterruption(ExitStatus status) {
  return status == ExitStatus::Interrupted || status == ExitStatus::Terminated;
}

/// Thrown to end playback at the user's request; not a failure.
struct StoppedByUser {};

/// Thrown to end playback; what() is a one-line message for the user.
class PlayerError : public std::runtime_error {
 public:
  PlayerError(ExitStatus exitStatus, const std::string& line)
      : std::runtime_error(line), status(exitStatus) {}
  ExitStatus status;
};

}  // namespace Player
