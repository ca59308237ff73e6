// SPDX-License-Identifier: MIT

#pragma once

/// Decision table: which action a device event triggers for the default output. DefaultOutput
/// carries out the routing actions, StallMonitor the reopening.

#include <cstdint>

namespace Platform {

enum class DeviceEvent : std::uint8_t {
  DefaultChanged,  // the server's default is another one
  DeviceGone,
  DeviceBack,   // or new
  StreamEnded,  // by another program, though the device is there
  RateChanged,  // of the device itself; its streams are converted
  ServerGone,   // with all of its devices
  ServerBack,
  Stalled,    // playing, but runs no cycles
  Suspended,  // by another program, which will resume it
  Resumed,
};

/// Relation of the changed device to the output.
enum class Subject : std::uint8_t { ThePlaying, TheChosen, Another, Any };

/// State of the device that the program set.
enum class Choice : std::uint8_t { None, There, Missing, Any };

/// Whether there is a device to play on if none is set.
enum class Fallback : std::uint8_t { There, None, Any };

enum class Action : std::uint8_t {
  Keep,           // playback stays where it is
  PlayOnChosen,   // switch to it, or back to it
  PlayOnDefault,  // switch to it
  Hold,           // play on no device: pause in place
  Reopen,         // reopen the same device repeatedly, with back-off
};

struct Situation {
  DeviceEvent change;
  Subject subject;  // never Any, like the other two
  Choice choice;
  Fallback fallback;
};

Action decide(const Situation& situation);

}  // namespace Platform
