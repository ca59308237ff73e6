// What becomes of the output when something happens to devices, row by row, and when a device is
// said to stand.

#include <gtest/gtest.h>

#include <vector>

#include "platform/device/CycleWatchdog.h"
#include "platform/device/OutputPolicy.h"

namespace Platform {
namespace {

using enum Action;

/// Said a second time, from what happens rather than row by row.
Action expected(const Situation& now) {
  const auto& [change, subject, choice, fallback] = now;
  const bool isAway = change == Change::DeviceGone || change == Change::StreamEnded;
  if (change == Change::RateChanged || change == Change::Suspended || change == Change::Resumed ||
      (isAway && subject != Subject::ThePlaying)) {
    return Keep;
  }
  if (change == Change::Stalled) {
    return OpenAnew;
  }
  if (change == Change::StreamEnded) {
    return Hold;
  }
  const bool isChosenBack = change == Change::DeviceBack && subject == Subject::TheChosen;
  if (isChosenBack || choice == Choice::There) {
    const bool moves = isAway || isChosenBack || change == Change::ServerBack;
    return moves ? PlayOnChosen : Keep;
  }
  return fallback == Fallback::There ? PlayOnDefault : Hold;
}

TEST(OutputPolicy, goesToTheChosenDeviceElseToTheDefaultElseHolds) {
  for (int i = 0; i < 10 * 3 * 3 * 2; ++i) {
    const Situation now{static_cast<Change>(i / 18), static_cast<Subject>(i % 3),
                        static_cast<Choice>(i / 3 % 3), static_cast<Fallback>(i / 9 % 2)};
    EXPECT_EQ(decide(now), expected(now)) << i;
  }
}

constexpr std::uint64_t kMs = 1'000'000;
constexpr std::uint64_t kCycle = 10 * kMs;

using Finding = CycleWatchdog::Finding;

TEST(Watchdog, knowsADeviceThatStandsFromOneThatPlaysOrIsNotAskedTo) {
  CycleWatchdog watchdog;
  std::uint64_t cycles = 0;
  for (std::uint64_t ms = 0; ms < 5000; ms += 250) {
    EXPECT_EQ(watchdog.look(ms * kMs, true, cycles += 25, kCycle), Finding::Fine) << ms;
  }
  for (std::uint64_t ms = 5000; ms < 10000; ms += 250) {
    EXPECT_EQ(watchdog.look(ms * kMs, false, cycles, kCycle), Finding::Fine) << ms;
  }
  EXPECT_EQ(watchdog.look(10000 * kMs, true, cycles, kCycle), Finding::Fine);
  EXPECT_EQ(watchdog.look(10750 * kMs, true, cycles, kCycle), Finding::Fine);  // since 9750
  EXPECT_EQ(watchdog.look(10751 * kMs, true, cycles, kCycle), Finding::BeganToStand);
  EXPECT_TRUE(watchdog.stands());
  EXPECT_EQ(watchdog.look(11000 * kMs, true, cycles + 1, kCycle), Finding::GoesOn);
  EXPECT_FALSE(watchdog.stands());
}

TEST(Watchdog, waitsForFourCyclesWhereTheyAreLong) {
  CycleWatchdog watchdog;
  EXPECT_EQ(watchdog.look(0, true, 1, 400 * kMs), Finding::Fine);
  EXPECT_EQ(watchdog.look(1600 * kMs, true, 1, 400 * kMs), Finding::Fine);
  EXPECT_EQ(watchdog.look(1601 * kMs, true, 1, 400 * kMs), Finding::BeganToStand);
}

/// Looks at a device that stands, second by second, and opens it anew when it is time to.
struct Bench {
  std::vector<std::uint64_t> triesUntil(std::uint64_t end) {
    std::vector<std::uint64_t> tries;
    for (; second < end; ++second) {
      if (watchdog.look(second * 1000 * kMs, true, cycles, kCycle) == Finding::OpenAnew) {
        tries.push_back(second);
        cycles += cyclesATry;
      }
    }
    return tries;
  }

  std::uint64_t cyclesATry;
  CycleWatchdog watchdog{};
  std::uint64_t second = 0;
  std::uint64_t cycles = 1;
};

TEST(Watchdog, hasADeviceOpenedAnewLessAndLessOften) {
  Bench bench{.cyclesATry = 0};
  // Found standing after 2 s (looks are a second apart), then 2, 4, 8, 16, 16, … s between tries.
  EXPECT_EQ(bench.triesUntil(80), (std::vector<std::uint64_t>{4, 8, 16, 32, 48, 64}));
  EXPECT_EQ(bench.watchdog.look(81'000 * kMs, false, 1, kCycle), Finding::GoesOn);  // was stopped
}

/// What is opened anew takes what fits into its buffer, and may then stand as before.
TEST(Watchdog, isNotTakenInByADeviceThatRunsForAMoment) {
  Bench bench{.cyclesATry = 16};
  // Each begins to stand again 3 s after the try, then 4, 8, 16 s.
  EXPECT_EQ(bench.triesUntil(50), (std::vector<std::uint64_t>{4, 11, 22, 41}));
  for (; bench.second < 60; ++bench.second) {  // well again
    bench.watchdog.look(bench.second * 1000 * kMs, true, bench.cycles += 100, kCycle);
  }
  EXPECT_EQ(bench.triesUntil(64), (std::vector<std::uint64_t>{63}));
}

}  // namespace
}  // namespace Platform
