// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/ScriptedDevice.h>
#include <AudioUnit/AudioUnit.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "check/record/Journal.h"

namespace Check {

using Calls = std::vector<AudioDevices::Script::Call>;

/// An output graph as its platform calls have left it.
struct BuiltOutput {
  std::int64_t graph = 0;  // its handle, as recorded
  AudioUnit unit = nullptr;
  AudioStreamBasicDescription format{};
  AURenderCallbackStruct callback{};
  std::optional<float> volume{};     // as last set
  std::vector<SInt32> channelMap{};  // as last set
  bool running = false;
};

/// Returns the graph that was built last and not closed; nothing without one.
std::optional<BuiltOutput> builtOutput(const Calls& calls);

/// An I/O procedure as it was registered.
struct RegisteredProcedure {
  AudioObjectID device = kAudioObjectUnknown;
  AudioDeviceIOProc procedure = nullptr;
  void* clientData = nullptr;
};
/// Returns the last one registered, whether or not it still is.
std::optional<RegisteredProcedure> registeredProcedure(const Calls& calls);

/// Names each call: the function, and for a property its number or four-character code.
Lines inWords(const Calls& calls);

/// Returns the calls that used a graph, unit, device or procedure that was not there, or passed an
/// argument that no call takes.
Lines misusesIn(const Calls& calls);

}  // namespace Check
