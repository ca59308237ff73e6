// SPDX-License-Identifier: MIT

#include "time/StallWatch.h"

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "time/Nanoseconds.h"

namespace Tavro::HostTime {
namespace {

std::uint64_t cpuTimeOf(const Participant& member) {
  timespec used{};
  if (clock_gettime(member.cpuClock, &used) != 0) {
    return 0;
  }
  return static_cast<std::uint64_t>(used.tv_sec) * 1'000'000'000 +
         static_cast<std::uint64_t>(used.tv_nsec);
}

void printAndAbort(const std::string& report) {
  std::fputs(report.c_str(), stderr);
  std::abort();
}

std::string secondsText(std::uint64_t nanoseconds) {
  char text[32];
  std::snprintf(text, sizeof text, "%.6f s", static_cast<double>(nanoseconds) / 1e9);
  return text;
}

}  // namespace

StallWatch::StallWatch(const Participants& members, const JoinStack& joins)
    : m_members(members), m_joins(joins), m_handler(printAndAbort) {}

void StallWatch::setHandler(StallHandler handler) {
  m_handler = handler ? std::move(handler) : StallHandler(printAndAbort);
}

void StallWatch::report(std::uint64_t nowNs, const std::string& headline) const {
  std::string text = "simulated time is stalled at " + secondsText(nowNs) + ": " + headline + "\n";
  for (const auto& member : m_members) {
    text += lineFor(*member);
  }
  m_handler(text);
}

std::string StallWatch::lineFor(const Participant& member) const {
  const std::string text = "  " + member.name + " #" + std::to_string(member.id) + ": ";
  if (member.waiting) {
    return text + "waits for " + member.what +
           (member.deadline == kNever ? ", without end"
                                      : " until " + secondsText(member.deadline)) +
           "\n";
  }
  const MemberId joined = m_joins.targetOf(&member);
  return text + (joined != 0 ? "joins #" + std::to_string(joined) : "runs") + "\n";
}

void StallWatch::check(const Participant* mover, std::uint64_t turns, std::uint64_t nowNs) {
  const std::uint64_t cpuTime = mover != nullptr ? cpuTimeOf(*mover) : 0;
  const bool moved = turns != m_checkedTurns || cpuTime != m_checkedCpuTime;
  m_checkedTurns = turns;
  m_checkedCpuTime = cpuTime;
  m_stalledMs = moved || mover == nullptr ? 0 : m_stalledMs + kCheckIntervalNs / kNanosPerMs;
  if (m_stalledMs >= m_patienceMs) {
    m_stalledMs = 0;
    report(nowNs, mover->name + " blocks outside simulated time");
  }
}

}  // namespace Tavro::HostTime
