// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

#include "time/HostTime.h"
#include "time/JoinStack.h"
#include "time/Participants.h"

namespace Tavro::HostTime {

/// Detects that simulated time is stalled, and calls the handler with a report on every thread.
/// Guarded by the scheduler's lock.
class StallWatch {
 public:
  static constexpr std::uint64_t kCheckIntervalNs = 1'000'000'000;

  StallWatch(const Participants& members, const JoinStack& joins);

  void setHandler(StallHandler handler);  // an empty one: prints and aborts
  void setPatience(std::uint64_t milliseconds) { m_patienceMs = milliseconds; }

  /// Reports a stall at the simulated time `nowNs`.
  void report(std::uint64_t nowNs, const std::string& headline) const;

  /// Call every kCheckIntervalNs of real time, with the thread that should run (null: none) and the
  /// number of turns given so far. Reports a stall if that thread has neither given up its turn nor
  /// used the processor for too long. Only intervals between calls count, so a suspended process is
  /// not a stall.
  void check(const Participant* mover, std::uint64_t turns, std::uint64_t nowNs);

 private:
  std::string lineFor(const Participant& member) const;

  const Participants& m_members;
  const JoinStack& m_joins;
  StallHandler m_handler;
  std::uint64_t m_patienceMs = 30'000;
  std::uint64_t m_checkedTurns = 0;
  std::uint64_t m_checkedCpuTime = 0;
  std::uint64_t m_stalledMs = 0;
};

}  // namespace Tavro::HostTime
