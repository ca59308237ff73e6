// SPDX-License-Identifier: MIT

// The graph clock with time bases of the test's own, in simulated time.

#include "tavro_core/Clock.h"

#include <gtest/gtest.h>

#include "host/Services.h"

namespace {

using namespace Tavro;

class FakeTimeBase : public TimeBaseInterface {
 public:
  explicit FakeTimeBase(Clock& clock, std::uint32_t priority = 100)
      : m_clock(clock), m_priority(priority) {
    m_clock.addTimeBase(this);
  }
  ~FakeTimeBase() override { m_clock.removeTimeBase(this); }
  std::uint32_t currentTime() override {
    ++asked;
    return static_cast<std::uint32_t>(
        time + static_cast<std::int64_t>(static_cast<double>(GetTimeMS() - since) * speed));
  }
  bool isRunning() override { return running; }
  std::uint32_t timeBasePriority() override { return m_priority; }

  void run(std::int64_t from, double atSpeed = 1.0) {
    time = from;
    since = GetTimeMS();
    speed = atSpeed;
    running = true;
  }
  void stop() {
    time = currentTime();
    since = GetTimeMS();
    speed = 0;
    running = false;
  }
  void leap(std::int64_t ms) { time += ms; }

  std::int64_t time = 0;
  std::uint64_t since = 0;
  double speed = 0;
  bool running = false;
  int asked = 0;

 private:
  Clock& m_clock;
  std::uint32_t m_priority;
};

class ClockTest : public testing::Test {
 protected:
  // Until the clock has caught hold of it.
  void followFromNow(FakeTimeBase& base, std::int64_t from = 5000, double speed = 1.0) {
    clock.start();
    base.run(from, speed);
    SleepMS(50);
  }

  Clock clock;
};

TEST_F(ClockTest, standsAtItsValueUntilATimeBaseMoves) {
  FakeTimeBase base(clock);
  clock.set(700);
  SleepMS(100);
  EXPECT_EQ(clock.currentTime(), 700u);
  base.run(0);
  SleepMS(100);
  EXPECT_EQ(clock.currentTime(), 700u) << "not started";

  base.stop();
  clock.start();
  SleepMS(100);
  EXPECT_EQ(clock.currentTime(), 700u) << "started, but nothing runs";

  base.run(9000, 0.0);
  SleepMS(100);
  EXPECT_EQ(clock.currentTime(), 700u) << "runs, but its first cycle is still to come";

  base.run(9000);
  SleepMS(500);
  EXPECT_NEAR(clock.currentTime(), 1200u, 20) << "its value is an anchor, not a time";
}

TEST_F(ClockTest, goesAtTheSpeedOfTheTimeBase) {
  struct Row {
    double speed;
    std::uint32_t from;
    std::uint32_t ms;
  };
  for (const Row& row : {Row{0.5, 0, 60'000},
                         {0.9997, UINT32_MAX - 800, 60'000},
                         {1.0, 0, 3'600'000},  // its reading is never corrected
                         {1.0003, 0, 60'000},
                         {1.5, UINT32_MAX - 800, 60'000}}) {
    FakeTimeBase base(clock);
    clock.set(row.from);
    followFromNow(base, row.from, row.speed);
    const std::uint32_t before = clock.currentTime();
    const std::uint32_t baseBefore = base.currentTime();
    SleepMS(row.ms);
    EXPECT_NEAR(clock.currentTime() - before, base.currentTime() - baseBefore, 10) << row.speed;
    clock.pause();
  }
}

TEST_F(ClockTest, neverRunsBackwards) {
  FakeTimeBase base(clock);
  followFromNow(base, 0, 0.8);
  std::uint32_t last = clock.currentTime();
  for (int ms = 0; ms < 5000; ++ms) {
    SleepMS(1);
    if (ms % 700 == 0) {
      base.leap(ms % 1400 == 0 ? -13 : 9);
    }
    const std::uint32_t now = clock.currentTime();
    ASSERT_LE(last, now) << "at " << ms;
    ASSERT_LE(now, last + 30) << "at " << ms;
    last = now;
  }
}

TEST_F(ClockTest, aLeapOfTheTimeBaseIsANewAnchor) {
  FakeTimeBase base(clock);
  followFromNow(base);
  for (const std::int64_t leap : {-4000, 884, 100'000, -90'000}) {
    const std::uint32_t before = clock.currentTime();
    base.leap(leap);
    SleepMS(200);
    EXPECT_NEAR(clock.currentTime() - before, 200u, 15) << leap;
  }
}

TEST_F(ClockTest, theHighestPriorityIsFollowedAndAmongEqualsTheFirst) {
  FakeTimeBase slow(clock, 100);
  FakeTimeBase fast(clock, 200);
  FakeTimeBase equal(clock, 200);
  clock.start();
  slow.run(0, 0.5);
  fast.run(0, 1.5);
  equal.run(0, 0.25);
  SleepMS(100);
  std::uint32_t before = clock.currentTime();
  SleepMS(1000);
  EXPECT_NEAR(clock.currentTime() - before, 1500u, 20);

  fast.stop();
  equal.stop();
  SleepMS(100);
  before = clock.currentTime();
  SleepMS(1000);
  EXPECT_NEAR(clock.currentTime() - before, 500u, 20);
}

TEST_F(ClockTest, pauseHoldsAndStartNeedsAMovingTimeBaseAgain) {
  FakeTimeBase base(clock);
  followFromNow(base);
  clock.pause();
  const std::uint32_t held = clock.currentTime();
  SleepMS(1000);
  EXPECT_EQ(clock.currentTime(), held);

  base.stop();
  clock.start();
  SleepMS(1000);
  EXPECT_EQ(clock.currentTime(), held);
  base.run(0);
  SleepMS(1000);
  EXPECT_NEAR(clock.currentTime() - held, 1000u, 20);
}

TEST_F(ClockTest, aSeekSetsItStandingAndGoing) {
  clock.set(40'000);
  EXPECT_EQ(clock.currentTime(), 40'000u);
  FakeTimeBase base(clock);
  followFromNow(base);
  clock.set(10'000);
  EXPECT_EQ(clock.currentTime(), 10'000u);
  SleepMS(1000);
  EXPECT_NEAR(clock.currentTime(), 11'000u, 20);
}

TEST_F(ClockTest, followsHostTimeOnceItsTimeBaseStopsOrIsRemoved) {
  for (const bool isRemoved : {false, true}) {
    FakeTimeBase base(clock);
    followFromNow(base, 0, 0.5);
    isRemoved ? clock.removeTimeBase(&base) : base.stop();
    const int asked = base.asked;
    SleepMS(20);
    const std::uint32_t before = clock.currentTime();
    SleepMS(1000);
    EXPECT_NEAR(clock.currentTime() - before, 1000u, 20);
    EXPECT_TRUE(!isRemoved || base.asked == asked);
  }
}

}  // namespace
