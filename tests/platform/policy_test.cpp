// SPDX-License-Identifier: MIT

// Which device the output goes to when devices change, and when a device counts as stalled.

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "platform/device/StallDetector.h"
#include "platform/manager/RoutingPolicy.h"

namespace Platform {
namespace {

TEST(RoutingPolicy, goesToTheChosenDeviceElseToTheDefaultElseHolds) {
  using enum Action;
  using enum DeviceEvent;
  using enum Subject;
  const std::vector<std::pair<Situation, Action>> rows = {
      {{DefaultChanged, Another, Choice::There, Fallback::There}, Keep},
      {{DefaultChanged, Another, Choice::None, Fallback::There}, PlayOnDefault},
      {{DeviceGone, ThePlaying, Choice::There, Fallback::There}, PlayOnChosen},
      {{DeviceGone, ThePlaying, Choice::Missing, Fallback::There}, PlayOnDefault},
      {{DeviceGone, ThePlaying, Choice::Missing, Fallback::None}, Hold},
      {{DeviceGone, Another, Choice::There, Fallback::There}, Keep},
      {{DeviceBack, TheChosen, Choice::There, Fallback::There}, PlayOnChosen},
      {{StreamEnded, ThePlaying, Choice::There, Fallback::There}, Hold},
      {{ServerBack, Another, Choice::There, Fallback::There}, PlayOnChosen},
      {{Suspended, ThePlaying, Choice::None, Fallback::There}, Keep},
      {{Stalled, ThePlaying, Choice::There, Fallback::There}, Reopen}};
  for (const auto& [situation, action] : rows) {
    EXPECT_EQ(decide(situation), action) << static_cast<int>(situation.change);
  }
}

constexpr std::uint64_t kMs = 1'000'000;
constexpr std::uint64_t kCycle = 10 * kMs;

using Finding = StallDetector::Finding;

TEST(Watchdog, knowsADeviceThatStandsFromOneThatPlaysOrIsNotAskedTo) {
  StallDetector watchdog;
  std::uint64_t cycles = 0;
  for (std::uint64_t ms = 0; ms < 5000; ms += 250) {
    EXPECT_EQ(watchdog.poll(ms * kMs, true, cycles += 25, kCycle), Finding::Fine) << ms;
  }
  for (std::uint64_t ms = 5000; ms < 10000; ms += 250) {
    EXPECT_EQ(watchdog.poll(ms * kMs, false, cycles, kCycle), Finding::Fine) << ms;
  }
  EXPECT_EQ(watchdog.poll(10000 * kMs, true, cycles, kCycle), Finding::Fine);
  EXPECT_EQ(watchdog.poll(10750 * kMs, true, cycles, kCycle), Finding::Fine);  // since 9750
  EXPECT_EQ(watchdog.poll(10751 * kMs, true, cycles, kCycle), Finding::Stalled);
  EXPECT_TRUE(watchdog.isStalled());
  EXPECT_EQ(watchdog.poll(11000 * kMs, true, cycles + 1, kCycle), Finding::Resumed);
  EXPECT_FALSE(watchdog.isStalled());
}

TEST(Watchdog, waitsForFourCyclesWhereTheyAreLong) {
  StallDetector watchdog;
  EXPECT_EQ(watchdog.poll(0, true, 1, 400 * kMs), Finding::Fine);
  EXPECT_EQ(watchdog.poll(1600 * kMs, true, 1, 400 * kMs), Finding::Fine);
  EXPECT_EQ(watchdog.poll(1601 * kMs, true, 1, 400 * kMs), Finding::Stalled);
}

/// Polls a stalled device once a second and reopens it when due.
struct Bench {
  std::vector<std::uint64_t> triesUntil(std::uint64_t end) {
    std::vector<std::uint64_t> tries;
    for (; second < end; ++second) {
      if (watchdog.poll(second * 1000 * kMs, true, cycles, kCycle) == Finding::Reopen) {
        tries.push_back(second);
        cycles += cyclesATry;
      }
    }
    return tries;
  }

  std::uint64_t cyclesATry;
  StallDetector watchdog{};
  std::uint64_t second = 0;
  std::uint64_t cycles = 1;
};

TEST(Watchdog, hasADeviceOpenedAnewLessAndLessOften) {
  Bench bench{.cyclesATry = 0};
  // Found standing after 2 s (looks are a second apart), then 2, 4, 8, 16, 16, … s between tries.
  EXPECT_EQ(bench.triesUntil(80), (std::vector<std::uint64_t>{4, 8, 16, 32, 48, 64}));
  EXPECT_EQ(bench.watchdog.poll(81'000 * kMs, false, 1, kCycle), Finding::Resumed);  // was stopped
}

/// A reopened device fills its buffer and may then stall as before.
TEST(Watchdog, isNotTakenInByADeviceThatRunsForAMoment) {
  Bench bench{.cyclesATry = 16};
  // Each begins to stand again 3 s after the try, then 4, 8, 16 s.
  EXPECT_EQ(bench.triesUntil(50), (std::vector<std::uint64_t>{4, 11, 22, 41}));
  for (; bench.second < 60; ++bench.second) {  // well again
    bench.watchdog.poll(bench.second * 1000 * kMs, true, bench.cycles += 100, kCycle);
  }
  EXPECT_EQ(bench.triesUntil(64), (std::vector<std::uint64_t>{63}));
}

}  // namespace
}  // namespace Platform
