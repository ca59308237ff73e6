// SPDX-License-Identifier: MIT

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "time/HostTime.h"

namespace Tavro::HostTime {
namespace {

constexpr std::uint64_t kMs = 1'000'000;

class SimulatedTime : public testing::Test {
 protected:
  void SetUp() override {
    simulate();
    m_start = now();
  }

  std::uint64_t elapsedMs() const { return (now() - m_start) / kMs; }
  void sleepMs(std::uint64_t ms) { waitUntil(now() + ms * kMs, "a pause"); }

  // Threads take turns, so the log needs no lock; the thread sanitizer checks that claim.
  void note(const std::string& who) { m_log.push_back(std::to_string(elapsedMs()) + " " + who); }

  std::uint64_t m_start = 0;
  std::vector<std::string> m_log;
};

TEST_F(SimulatedTime, jumpsToTheEarliestDeadlineAndBreaksTiesByRoleThenAge) {
  const auto pacer = [this](const char* name, std::uint64_t period) {
    return [this, name, period] {
      for (int i = 0; i < 2; ++i) {
        sleepMs(period);
        note(name);
      }
    };
  };
  Thread feeder(Role::Feeder, "feeder", pacer("feeder", 10));
  Thread second(Role::Device, "second", pacer("second", 10));
  Thread decode(Role::Decode, "decode", pacer("decode", 10));
  Thread first(Role::Device, "first", pacer("first", 5));
  sleepMs(10);
  note("host");
  sleepMs(1000);
  note("host");
  const std::vector<std::string> expected = {"5 first",   "10 second", "10 first",  "10 decode",
                                             "10 feeder", "10 host",   "20 second", "20 decode",
                                             "20 feeder", "1010 host"};
  EXPECT_EQ(m_log, expected);
}

TEST_F(SimulatedTime, aSignalledWaitIsDueAtOnceAndBeforeTimeMoves) {
  Signal wanted;
  Thread decode(Role::Decode, "decode", [&] {
    for (int i = 0; i < 2; ++i) {
      note(waitUntil(kNever, wanted, "demand") ? "refill" : "?");
    }
  });
  sleepMs(7);
  wanted.notify();
  sleepMs(1);
  note("host");
  wanted.notify();
  decode.join();
  EXPECT_FALSE(waitUntil(now() + 3 * kMs, wanted, "nothing more"));
  EXPECT_EQ(m_log, (std::vector<std::string>{"7 refill", "8 host", "8 refill"}));
  EXPECT_EQ(elapsedMs(), 11U);
}

TEST_F(SimulatedTime, aSignalBeforeTheWaitIsNotLost) {
  Signal signal;
  signal.notify();
  EXPECT_TRUE(waitUntil(kNever, signal, "the signal"));
  EXPECT_EQ(elapsedMs(), 0U);
}

// What a component does: its constructor starts a thread that knows nothing of simulated time but
// sleeps by it, and its destructor asks that thread to end and joins it.
class Component {
 public:
  Component() {
    ThreadStartWaiter watch;
    m_thread = std::thread([this] {
      while (!m_stop) {
        waitUntil(now() + 10 * kMs, "work");
        ++m_passes;
      }
    });
    m_member = watch.await();
  }
  ~Component() {
    const JoinScope scope(m_member);
    m_stop = true;
    m_thread.join();
  }
  int passes() const { return m_passes; }

 private:
  std::atomic<bool> m_stop{false};
  std::atomic<int> m_passes{0};
  MemberId m_member = 0;
  std::thread m_thread;
};

TEST_F(SimulatedTime, timeStandsWhileAComponentIsDestroyedAmongOthersThatRun) {
  int ticks = 0;
  Component other;
  Signal stop;
  Thread device(Role::Device, "device", [&] {
    while (!waitUntil(now() + 3 * kMs, stop, "the next cycle")) {
      ++ticks;
    }
  });
  for (int round = 0; round < 50; ++round) {
    auto component = std::make_unique<Component>();
    sleepMs(12);
    EXPECT_EQ(component->passes(), 1);
    const std::uint64_t before = now();
    const int ticksBefore = ticks;
    component.reset();
    ASSERT_EQ(now(), before);
    ASSERT_EQ(ticks, ticksBefore);
  }
  EXPECT_EQ(ticks, 200);
  EXPECT_EQ(other.passes(), 60);
  stop.notify();
  device.join();
}

TEST_F(SimulatedTime, aThreadOutsideTheSetMayJoinOneOfItsThreads) {
  Signal stop;
  Thread device(Role::Device, "device", [&] { waitUntil(kNever, stop, "the end"); });
  std::atomic<bool> joined{false};
  std::thread outsider([&] {
    stop.notify();
    device.join();
    joined = true;
  });
  while (!joined) {
    sleepMs(1);
  }
  outsider.join();
}

TEST_F(SimulatedTime, threadsThatComeAndGoLeaveNobodyBehind) {
  for (int round = 0; round < 200; ++round) {
    ThreadStartWaiter watch;
    std::thread passing([&] { sleepMs(2); });
    const MemberId member = watch.await();
    sleepMs(1);
    const JoinScope scope(member);
    passing.join();
  }
  EXPECT_EQ(elapsedMs(), 200U);
}

using SimulatedTimeDeathTest = SimulatedTime;

TEST_F(SimulatedTimeDeathTest, aWaitThatNobodyEndsIsReportedWithEveryThread) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        simulate();
        Signal never;
        Thread decode(Role::Decode, "decode", [&] { waitUntil(kNever, never, "room"); });
        waitUntil(kNever, never, "the end of the file");
      },
      "no thread is due\n  host #[0-9]+: waits for the end of the file, without end\n"
      "  decode #[0-9]+: waits for room, without end");
}

TEST_F(SimulatedTimeDeathTest, aThreadThatBlocksOutsideTheClockIsReported) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        simulate();
        setStallPatience(1000);
        std::mutex lock;
        Thread holder(Role::Feeder, "holder", [&] {
          const std::lock_guard held(lock);
          waitUntil(now() + 10 * kMs, "something, with a lock held");
        });
        waitUntil(now() + kMs, "a pause");
        const std::lock_guard blocked(lock);
      },
      "host blocks outside simulated time\n  host #[0-9]+: runs\n"
      "  holder #[0-9]+: waits for something, with a lock held until");
}

}  // namespace
}  // namespace Tavro::HostTime
