// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

/// Every lock outside the plug-in, in the order in which a thread takes them; it may skip some.
/// Only SchedulerState is taken under a lock after Model. LockOrder.cpp has their names.
enum class LockRank : std::uint8_t {
  RenderObserver,
  ClockState,
  ServerDevices,
  UnitChange,
  DeviceControl,
  ServerLoop,
  AlsaGate,
  ScriptedCycle,
  DeviceCycle,
  SoundFile,
  Model,

  // Leaves
  AlsaSteps,
  CallScript,
  DriverFailure,
  Listeners,
  LogLines,
  ScriptedSound,
  ServerChange,
  ServerState,
  SessionLists,
  SourceState,

  SchedulerState,
};

}  // namespace Tavro
