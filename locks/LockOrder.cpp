// SPDX-License-Identifier: MIT

#include "locks/LockOrder.h"

#ifdef TAVRO_CHECKS_LOCK_ORDER

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <span>

namespace Tavro::LockOrder {
namespace {

const char* nameOf(LockRank rank) {
  switch (rank) {
    case LockRank::RenderObserver:
      return "the lock of setRenderObserver()";
    case LockRank::ClockState:
      return "Clock::m_lock";
    case LockRank::ServerDevices:
      return "ServerDevices::m_lock";
    case LockRank::UnitChange:
      return "OutputUnit::m_change";
    case LockRank::DeviceControl:
      return "Device::m_control";
    case LockRank::ServerLoop:
      return "libpulse's lock";
    case LockRank::AlsaGate:
      return "AlsaStream::m_gate";
    case LockRank::ScriptedCycle:
      return "ScriptedDriver::m_hand";
    case LockRank::DeviceCycle:
      return "CycleRunner::m_io";
    case LockRank::SoundFile:
      return "FileDriver::m_fileLock";
    case LockRank::Model:
      return "modelLock()";
    case LockRank::AlsaSteps:
      return "the lock of runWithTimeout()";
    case LockRank::CallScript:
      return "the lock of the call script";
    case LockRank::DriverFailure:
      return "m_failureLock of a driver";
    case LockRank::Listeners:
      return "the listeners' lock";
    case LockRank::LogLines:
      return "the log's lock";
    case LockRank::ScriptedSound:
      return "ScriptedDriver::m_playedLock";
    case LockRank::ServerChange:
      return "ServerDevices::m_changeLock";
    case LockRank::ServerState:
      return "PulseConnection::m_stateLock";
    case LockRank::SessionLists:
      return "Session::m_lock";
    case LockRank::SourceState:
      return "Source::m_lock";
    case LockRank::SchedulerState:
      return "Scheduler::m_lock";
  }
  return "a lock without a name";
}

struct Held {
  const void* lock;
  LockRank rank;
};

// A trivial type, so that it can be used until the end of a thread.
struct HeldLocks {
  std::array<Held, 32> locks;
  std::size_t count;
};
thread_local HeldLocks t_held;

std::span<const Held> heldLocks() { return {t_held.locks.data(), t_held.count}; }

bool mayTake(LockRank rank, LockRank held) {
  return held <= LockRank::Model ? held < rank : rank == LockRank::SchedulerState && held != rank;
}

[[noreturn]] void fail(LockRank rank, const char* what, const char* other) {
  std::fprintf(stderr, "lock order: %s %s%s\n", nameOf(rank), what, other);
  std::abort();
}

}  // namespace

bool isHeld(const void* lock) {
  const std::span<const Held> held = heldLocks();
  return std::any_of(held.begin(), held.end(), [&](const Held& each) { return each.lock == lock; });
}

void taking(const void* lock, LockRank rank, bool mayBeHeld) {
  if (t_held.count == t_held.locks.size()) {
    fail(rank, "is taken while too many others are held", "");
  }
  if (!(mayBeHeld && isHeld(lock))) {
    for (const Held& each : heldLocks()) {
      if (!mayTake(rank, each.rank)) {
        fail(rank, "is taken while this one is held: ", nameOf(each.rank));
      }
    }
  }
  t_held.locks[t_held.count++] = {lock, rank};
}

void released(const void* lock) {
  for (std::size_t i = t_held.count; i-- > 0;) {
    if (t_held.locks[i].lock == lock) {
      std::copy(t_held.locks.begin() + i + 1, t_held.locks.begin() + t_held.count,
                t_held.locks.begin() + i);
      --t_held.count;
      return;
    }
  }
}

void requireHeld(const void* lock, LockRank rank) {
  if (!isHeld(lock)) {
    fail(rank, "is not held by this thread, which needs it", "");
  }
}

}  // namespace Tavro::LockOrder

#endif
