#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "time/HostTime.h"

namespace Tavro::HostTime {
namespace {

TEST(RealTime, aSignalIsKeptUntilItIsWaitedForAndThenUsedUp) {
  Signal signal;
  signal.notify();
  signal.notify();
  EXPECT_TRUE(waitUntil(kNever, signal, "the signal"));
  EXPECT_FALSE(waitUntil(now() + 1'000'000, signal, "the signal"));
}

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

TEST(RealTime, neverRunsBackwardsAndWaitsNoShorterThanAsked) {
  const std::uint64_t before = now();
  waitUntil(before + 3'000'000, "three milliseconds");
  EXPECT_GE(now(), before + 3'000'000);
}

TEST(RealTime, joinsAndNewcomersAreNobodysBusiness) {
  const NewcomerWatch watch;
  std::thread thread([] { waitUntil(now() + 1, "a moment"); });
  EXPECT_EQ(NewcomerWatch().await(), 0U);
  const JoinScope scope(7);
  thread.join();
}

}  // namespace
}  // namespace Tavro::HostTime
