// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

/// Every lock outside the plug-in, in the order in which a thread takes them; it may skip some.
/// Only SchedulerState is taken under a lock after Model.
enum class LockRank : std::uint8_t {
  RenderObserver,  // setRenderObserver(), while it waits for render callbacks
  ClockState,      // Clock::m_lock
  ServerDevices,   // ServerDevices::m_lock
  UnitChange,      // OutputUnit::m_change
  DeviceControl,   // Device::m_control
  ServerLoop,      // libpulse's
  AlsaGate,        // AlsaStream::m_gate
  ScriptedCycle,   // ScriptedDriver::m_hand
  DeviceCycle,     // CycleRunner::m_io
  SoundFile,       // FileDriver::m_fileLock
  Model,           // modelLock()

  AlsaSteps,      // Underway::m_lock
  CallScript,     // of intercepted calls
  DriverFailure,  // m_failureLock of the drivers and of SoundFile
  Listeners,      // Listeners::m_lock
  LogLines,       // of the log
  ScriptedSound,  // ScriptedDriver::m_playedLock
  ServerChange,   // ServerDevices::m_changeLock
  ServerState,    // PulseConnection::m_stateLock
  SessionLists,   // Session::m_lock
  SourceState,    // Source::m_lock

  SchedulerState,  // Scheduler::m_lock
};

}  // namespace Tavro
