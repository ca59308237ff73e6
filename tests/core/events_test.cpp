// SPDX-License-Identifier: MIT

// Event records and the log.

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "host/Services.h"
#include "tavro_core/Log.h"
#include "tavro_core/Session.h"

namespace {

using namespace Tavro;

TEST(EventLogTest, simulatedTimeLosesNothingHoweverSmallTheStorage) {
  Session session;
  std::vector<EventRecord> seen;
  session.events().open(8, [&seen](const EventRecord& record) { seen.push_back(record); });
  session.clock().set(77);
  SleepMS(3);
  const std::uint64_t hostNs = HostTime::now();
  for (std::uint32_t i = 0; i < 1000; ++i) {
    session.events().record(EventKind::BufferPlayed, i, 2 * i);
  }
  session.events().close();
  session.events().record(EventKind::BufferPlayed, 1000, 0);  // too late, ignored

  ASSERT_EQ(seen.size(), 1000u);
  EXPECT_EQ(session.events().lost(), 0u);
  for (std::uint32_t i = 0; i < 1000; ++i) {
    ASSERT_EQ(seen[i].timeStampMs, i);
    ASSERT_EQ(seen[i].bytes, 2 * i);
    ASSERT_EQ(seen[i].graphMs, 77u);
    ASSERT_EQ(seen[i].hostNs, hostNs);
  }
}

TEST(EventLogTest, twoThreadsLoseAndMixNothing) {
  Session session;
  std::vector<std::uint32_t> next(2, 0);
  bool inOrder = true;
  session.events().open(16, [&](const EventRecord& record) {
    inOrder = inOrder && next[record.bytes] == record.timeStampMs;
    ++next[record.bytes];
  });
  const auto work = [&session](std::uint32_t who) {
    for (std::uint32_t i = 0; i < 5000; ++i) {
      session.events().record(EventKind::PiecePlayed, i, who);
    }
  };
  std::thread other(work, 1);
  work(0);
  other.join();
  session.events().close();
  EXPECT_TRUE(inOrder);
  EXPECT_EQ(next, (std::vector<std::uint32_t>{5000, 5000}));
}

}  // namespace
