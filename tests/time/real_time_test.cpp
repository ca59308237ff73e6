// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <atomic>
#include <sched.h>
#include <thread>

#include "time/FirstTurn.h"
#include "time/HostTime.h"

namespace Tavro::HostTime {
namespace {

TEST(RealTime, everyHandOverBetweenTwoThreadsArrives) {
  constexpr int kRounds = 20'000;
  Signal ping;
  Signal pong;
  int counter = 0;  // handed over with the signals, so not atomic: the sanitizer watches it
  Thread other(Role::Host, "other", [&] {
    for (int i = 0; i < kRounds; ++i) {
      waitUntil(kNever, ping, "ping");
      ++counter;
      pong.notify();
    }
  });
  for (int i = 0; i < kRounds; ++i) {
    ping.notify();
    ASSERT_TRUE(waitUntil(kNever, pong, "pong"));
    ASSERT_EQ(counter, i + 1);
  }
  other.join();
}

struct Scheduling {
  int policy;
  int processors;
  bool operator==(const Scheduling&) const = default;
};

Scheduling present() {
  cpu_set_t allowed;
  sched_getaffinity(0, sizeof allowed, &allowed);
  return {sched_getscheduler(0), CPU_COUNT(&allowed)};
}

TEST(RealTime, whoStartsInAFirstTurnStandsBehindAndIsLetGoAfterwards) {
  const Scheduling usual = present();
  std::atomic<bool> isOver{false};
  std::atomic<bool> hasLooked{false};
  Scheduling atFirst{};
  Scheduling atLast{};
  std::thread newcomer;
  {
    const FirstTurn turn;
    EXPECT_EQ(present(), (Scheduling{SCHED_BATCH, 1}));
    newcomer = std::thread([&] {
      atFirst = present();
      hasLooked = true;
      hasLooked.notify_one();
      isOver.wait(false);
      atLast = present();
    });
    hasLooked.wait(false);
  }
  isOver = true;
  isOver.notify_one();
  newcomer.join();
  EXPECT_EQ(atFirst, (Scheduling{SCHED_BATCH, 1}));
  EXPECT_EQ(atLast, usual);
  EXPECT_EQ(present(), usual);
}

}  // namespace
}  // namespace Tavro::HostTime
