// SPDX-License-Identifier: MIT

#include <thread>

#include "BundleTest.h"
#include "fakes/AllocationWatch.h"

namespace {

using testing::Each;
using testing::IsEmpty;

// Which buffers are taken, queued or dropped when is compared with a model elsewhere.
class FeederTest : public BundleTest {
 protected:
  void addBuffers(unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      add(400, 1000 + i * 10, 10);
    }
  }

  /// The queries that upstream gets while the feeder goes from pause to pause.
  unsigned queriesInAStep() {
    const unsigned before = upstream.queries();
    gate.step();
    return upstream.queries() - before;
  }
};

TEST_F(FeederTest, aReportMayLeaveTheSession) {
  build();
  session.clock.ms = 2000;
  session.onReport = [this](const Report&) { component->component().destroy(); };
  queue(400, 1000, 10);
  EXPECT_EQ(released(), 1U);
  EXPECT_TRUE(session.consumers.empty());
  component->component().create(&session);
  session.onReport = [this](const Report&) {
    component->component().destroy();
    component->component().create(&session);
  };
  queue(400, 1000, 10);
  EXPECT_EQ(released(), 2U);
  EXPECT_FALSE(session.consumers.empty());
}

TEST_F(FeederTest, theSessionMayBeLeftWhileTheFeederReleasesABuffer) {
  build();
  session.clock.ms = 2000;
  add(400, 1000, 10).onRelease = [this] {
    std::thread([this] { component->component().destroy(); }).join();
  };
  feed();
  EXPECT_EQ(released(), 1U);
}

TEST_F(FeederTest, withoutAnOutputPathItFillsTheQueueAtTheReadyCheckAloneUntilAFlush) {
  connect();
  event(Tavro::PortEvent::kStart);
  addBuffers(3);
  EXPECT_EQ(queriesInAStep(), 0U);
  EXPECT_FALSE(ready());
  event(Tavro::PortEvent::kStop);
  gate.step();
  EXPECT_EQ(upstream.waiting(), 0U);
  EXPECT_FALSE(ready()) << "three buffers, but no graph";
  event(Tavro::PortEvent::kFlush);
  EXPECT_EQ(released(), 3U);
  EXPECT_EQ(queriesInAStep(), 0U);
}

TEST_F(FeederTest, noLockIsHeldWhileTheFateOfABufferIsDecided) {
  build();
  addBuffers(2);
  const auto flushElsewhere = [this] {
    flush(true);
    std::thread([this] { ready(); }).join();
  };
  session.clock.onRead = flushElsewhere;
  feed();
  session.clock.onRead = nullptr;
  session.clock.ms = 100000;
  FakeBuffer& late = add(4, 1000, 10);
  late.onRelease = flushElsewhere;
  session.onReport = [&](const Report&) { flushElsewhere(); };
  feed();
  late.onRelease = nullptr;
  EXPECT_EQ(late.releases(), 1U);
  EXPECT_EQ(late.locks(), 0U);
}

TEST_F(FeederTest, aBufferOnItsWayDuringAReconnectionBelongsToTheFormerStream) {
  FakeSource next{78};
  for (const bool isLate : {false, true}) {
    build();
    session.clock.ms = isLate ? 5000 : 1000;
    session.clock.onRead = [&] {
      session.clock.onRead = nullptr;
      event(Tavro::PortEvent::kDisconnect);
      component->output().disconnectInput(port);
      component->output().connectInput(Tavro::MediaType::Audio, &format, &next);
      connectPeer(&upstream);
      write(44100, 2, 16);
    };
    FakeBuffer& former = queue(400, 1000, 10);
    EXPECT_EQ(former.releases(), 1U);
    EXPECT_TRUE(render(100).silent());
    const auto reports = session.takeReports();
    EXPECT_EQ(reports.size(), isLate ? 1U : 0U);
    EXPECT_TRUE(!isLate || reports.at(0) == (Report{77, 4, &former}));
    end();
  }
}

TEST_F(FeederTest, queuingARecordAllocatesNothing) {
  build();
  addBuffers(30);
  std::vector<std::uint64_t> counts;
  counts.reserve(64);
  upstream.onQuery = [&] { counts.push_back(AllocationWatch::countOfThisThread()); };
  session.clock.ms = 1000;
  for (int i = 0; i < 20; ++i) {
    feed();
    render(100);
  }
  ASSERT_GT(counts.size(), 12U);
  EXPECT_THAT(counts, Each(counts.front()));
}

}  // namespace
