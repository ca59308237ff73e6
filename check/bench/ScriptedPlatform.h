// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/ScriptedDevice.h>

#include <cstddef>
#include <memory>
#include <optional>

#include "check/bench/PlatformRecord.h"
#include "check/record/Journal.h"

namespace Check {

/// The platform as a component finds it: a scripted default device, and a record of every call. One
/// at a time in a process. [host-thread]
class ScriptedPlatform {
 public:
  /// The device is stereo at 48 kHz in 16 bits, until another one replaces it.
  ScriptedPlatform();

  AudioDevices::ScriptedDevice& device() { return *m_device; }
  void useDevice(const AudioDevices::ScriptedSetup& setup);

  /// Returns the output that the recorded calls have built.
  std::optional<BuiltOutput> output() const;

  Calls calls() const;  // since takeCalls()
  /// Returns the calls since the last take whose name begins with one of the prefixes, and drops
  /// the rest.
  Lines takeCalls(const Lines& prefixes = {""});
  void forgetCalls();  // also what was scripted for them

 private:
  std::unique_ptr<AudioDevices::ScriptedDevice> m_device;
  std::size_t m_callsTaken = 0;
};

}  // namespace Check
