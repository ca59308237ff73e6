#pragma once

/// What becomes of the default output when something happens to devices: a table, and nothing else.
/// Who carries an action out is the registry (the device that the default output is on) and the
/// watch over cycles (opening anew).

#include <cstdint>

namespace Platform {

enum class Change : std::uint8_t {
  DefaultChanged,  // the system's, or the first attached device is another one
  DeviceGone,
  DeviceBack,   // or new
  StreamEnded,  // by somebody, though the device is there
  RateChanged,  // of the device itself; its streams are converted
  ServerGone,   // with all of its devices
  ServerBack,
  Stalled,    // playing, but no cycle comes
  Suspended,  // by somebody else, who will let it go on
  Resumed,
};

/// What the device of a change is to the output.
enum class Subject : std::uint8_t { ThePlaying, TheChosen, Another, Any };

/// The device that the program set.
enum class Choice : std::uint8_t { None, There, Missing, Any };

/// Whether there is a device to play on without one set.
enum class Fallback : std::uint8_t { There, None, Any };

enum class Action : std::uint8_t {
  Keep,           // whatever plays goes on where it is
  PlayOnChosen,   // go there, or back there
  PlayOnDefault,  // go there
  Hold,           // there is no device: stand in place
  OpenAnew,       // the same device, time and again, less and less often
};

struct Situation {
  Change change;
  Subject subject;  // never Any, nor are the other two
  Choice choice;
  Fallback fallback;
};

Action decide(const Situation& situation);

}  // namespace Platform
