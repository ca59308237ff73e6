// SPDX-License-Identifier: MIT

// What only real time shows: a full event storage loses and counts, and readers of the clock beside
// its writers.

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "host/Services.h"
#include "tavro_core/Session.h"

namespace {

using namespace Tavro;

TEST(RealTimeEvents, aFullStorageCountsWhatItLoses) {
  Session session;
  std::atomic<bool> goOn{false};
  std::uint64_t written = 0;
  session.events().open(8, [&](const EventRecord&) {
    goOn.wait(false);
    ++written;
  });
  for (std::uint32_t i = 0; i < 100; ++i) {
    session.events().record(EventKind::PiecePlayed, i);
  }
  EXPECT_GE(session.events().lost(), 90u);
  goOn = true;
  goOn.notify_all();
  session.events().close();
  EXPECT_EQ(written + session.events().lost(), 100u);
}

class HostClocked : public TimeBaseInterface {
 public:
  std::uint32_t currentTime() override {
    EXPECT_TRUE(alive);
    return static_cast<std::uint32_t>(GetTimeMS());
  }
  bool isRunning() override { return alive; }
  std::uint32_t timeBasePriority() override { return 100; }
  ~HostClocked() override { alive = false; }
  bool alive = true;
};

TEST(RealTimeClock, readersSeeItOnlyRiseWhileTimeBasesComeAndGo) {
  Session session;
  session.clock().start();
  std::atomic<bool> ends{false};
  std::atomic<int> steps{0};
  std::thread reader([&] {
    std::uint32_t last = 0;
    while (!ends) {
      const std::uint32_t now = session.clock().currentTime();
      steps += now < last ? 1 : 0;
      last = now;
    }
  });
  for (int i = 0; i < 40; ++i) {
    HostClocked base;
    session.clock().addTimeBase(&base);
    SleepMS(3);
    session.clock().sample();
    session.clock().removeTimeBase(&base);
  }
  ends = true;
  reader.join();
  EXPECT_EQ(steps, 0);
}

}  // namespace
