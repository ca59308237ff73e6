// What becomes of the output when something happens to devices, row by row, and when a device is
// said to stand.

#include <gtest/gtest.h>

#include <vector>

#include "platform/device/RoutingPolicy.h"
#include "platform/device/StallDetector.h"

namespace Platform {
namespace {

using enum Action;

/// Said a second time, from what happens rather than row by row.
Action expected(const Situation& now) {
  const auto& [change, subject, choice, fallback] = now;
  const bool isAway = change == DeviceEvent::DeviceGone || change == DeviceEvent::StreamEnded;
  if (change == DeviceEvent::RateChanged || change == DeviceEvent::Suspended ||
      change == DeviceEvent::Resumed || (isAway && subject != Subject::ThePlaying)) {
    return Keep;
  }
  if (change == DeviceEvent::Stalled) {
    return Reopen;
  }
  if (change == DeviceEvent::StreamEnded) {
    return Hold;
  }
  const bool isChosenBack = change == DeviceEvent::DeviceBack && subject == Subject::TheChosen;
  if (isChosenBack || choice == Choice::There) {
    const bool moves = isAway || isChosenBack || change == DeviceEvent::ServerBack;
    return moves ? PlayOnChosen : Keep;
  }
  return fallback == Fallback::There ? PlayOnDefault : Hold;
}

TEST(RoutingPolicy, goesToTheChosenDeviceElseToTheDefaultElseHolds) {
  for (int i = 0; i < 10 * 3 * 3 * 2; ++i) {
    const Situation now{static_cast<DeviceEvent>(i / 18), static_cast<Subject>(i % 3),
                        static_cast<Choice>(i / 3 % 3), static_cast<Fallback>(i / 9 % 2)};
    EXPECT_EQ(decide(now), expected(now)) << i;
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

/// Looks at a device that stands, second by second, and opens it anew when it is time to.
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

/// What is opened anew takes what fits into its buffer, and may then stand as before.
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
