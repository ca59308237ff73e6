#pragma once

#include <stdexcept>
#include <string>

namespace Player {

/// What the program answers. The first failure that ends playback decides; inputs that cannot be
/// read do not end it.
enum class ExitStatus : int {
  Played = 0,  // everything that was asked for
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

/// Ends playback because the user asked for it: no failure.
struct StoppedByUser {};

/// Ends playback, with one line for the person.
class PlayerError : public std::runtime_error {
 public:
  PlayerError(ExitStatus exitStatus, const std::string& line)
      : std::runtime_error(line), status(exitStatus) {}
  ExitStatus status;
};

}  // namespace Player
