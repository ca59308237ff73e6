#include <atomic>
#include <thread>

#include "BundleTest.h"
#include "fakes/AllocationWatch.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

class FeederTest : public BundleTest {
 protected:
  void addBuffers(unsigned count) {
    for (unsigned i = 0; i < count; ++i) {
      upstream.add(pattern(400, i), 1000 + i * 10, 10);
    }
  }
};

TEST_F(FeederTest, itAsksForNothingUntilItPlays) {
  build();
  addBuffers(3);
  for (int i = 0; i < 5; ++i) {
    gate.step();
  }
  EXPECT_EQ(upstream.queries(), 0U);
  EXPECT_THAT(gate.takeDurations(), Each(10U));
}

TEST_F(FeederTest, itAsksForNothingWithoutAPeer) {
  build();
  addBuffers(3);
  event(Tavro::PortEvent::kDisconnect);
  ready();
  gate.step();
  gate.step();
  EXPECT_EQ(upstream.queries(), 0U);
}

TEST_F(FeederTest, theReadyCheckStartsTheFillingAndAnswersTrueFromThreeRecordsOn) {
  build();
  addBuffers(2);
  EXPECT_FALSE(ready());
  gate.step();
  EXPECT_FALSE(ready());
  addBuffers(1);
  gate.step();
  EXPECT_TRUE(ready());
}

TEST_F(FeederTest, theReadyCheckIsFalseWithoutAnOutputPath) {
  connect();
  addBuffers(5);
  EXPECT_FALSE(ready());
  gate.step();
  EXPECT_EQ(upstream.waiting(), 0U);
  EXPECT_FALSE(ready());
}

TEST_F(FeederTest, itHoldsNoMoreThanTenRecords) {
  build();
  addBuffers(14);
  feed();
  EXPECT_EQ(upstream.queries(), 10U);
  gate.step();
  EXPECT_EQ(upstream.queries(), 10U);
  session.clock.ms = 1000;
  render(100);
  gate.step();
  EXPECT_EQ(upstream.queries(), 11U);
}

TEST_F(FeederTest, anUpstreamWithoutABufferIsAskedTwiceAPause) {
  build();
  ready();
  gate.takeDurations();
  for (unsigned pass = 1; pass <= 3; ++pass) {
    gate.step();
    EXPECT_EQ(upstream.queries(), 2 * pass);
  }
  EXPECT_THAT(gate.takeDurations(), ElementsAre(10U, 10U, 10U));
}

TEST_F(FeederTest, theSecondQueryDeliversWithoutAPause) {
  build();
  upstream.addNothing(false);
  addBuffers(1);
  upstream.addNothing(true);
  addBuffers(1);
  feed();
  EXPECT_EQ(upstream.waiting(), 0U);
  EXPECT_EQ(upstream.queries(), 6U);
}

TEST_F(FeederTest, twoEmptyAnswersInARowCostAPause) {
  build();
  upstream.addNothing(true);
  upstream.addNothing(false);
  addBuffers(1);
  feed();
  EXPECT_EQ(upstream.queries(), 2U);
  gate.step();
  EXPECT_EQ(upstream.waiting(), 0U);
}

TEST_F(FeederTest, aBufferThatEndedBeforeNowIsReportedAndReleasedNotQueued) {
  build();
  session.clock.ms = 5000;
  FakeBuffer& late = upstream.add(pattern(4), 4900, 99);
  FakeBuffer& onTime = upstream.add(pattern(4), 4900, 100);
  feed();
  EXPECT_THAT(session.takeReports(), ElementsAre(Report{77, 4, &late}));
  EXPECT_EQ(late.releases(), 1U);
  EXPECT_EQ(late.locks(), 0U);
  EXPECT_EQ(onTime.releases(), 0U);
}

TEST_F(FeederTest, aBufferStampedZeroIsDroppedOnceItsDurationIsOver) {
  build();
  session.clock.ms = 20;
  FakeBuffer& kept = upstream.add(pattern(4), 0, 20);
  feed();
  session.clock.ms = 21;
  FakeBuffer& dropped = upstream.add(pattern(4), 0, 20);
  feed();
  EXPECT_EQ(kept.releases(), 0U);
  EXPECT_EQ(dropped.releases(), 1U);
}

TEST_F(FeederTest, anEndBeyond32BitsIsComparedAsItWraps) {
  build();
  session.clock.ms = 100;
  FakeBuffer& wrapped = upstream.add(pattern(4), 0xFFFFFFF0U, 0x20);
  feed();
  EXPECT_THAT(session.takeReports(), ElementsAre(Report{77, 4, &wrapped}));
}

TEST_F(FeederTest, lateBuffersAreDroppedOneAfterAnotherWithoutAPause) {
  build();
  session.clock.ms = 100000;
  addBuffers(30);
  feed();
  EXPECT_EQ(released(), 30U);
  EXPECT_EQ(session.reportsOf(Tavro::BufferState::kDroppedLate), 30U);
}

TEST_F(FeederTest, stopAndFlushEndTheFilling) {
  build();
  for (const auto id :
       {Tavro::PortEvent::kStop, Tavro::PortEvent::kFlush, Tavro::PortEvent::kFlushAgain}) {
    feed();
    event(id);
    const unsigned before = upstream.queries();
    gate.step();
    gate.step();
    EXPECT_EQ(upstream.queries(), before) << id;
  }
}

TEST_F(FeederTest, startResumesTheFilling) {
  build();
  event(Tavro::PortEvent::kStart);
  addBuffers(1);
  gate.step();
  EXPECT_EQ(upstream.waiting(), 0U);
}

TEST_F(FeederTest, stopWithoutAGraphLeavesTheFillingOn) {
  connect();
  ready();
  event(Tavro::PortEvent::kStop);
  addBuffers(1);
  gate.step();
  EXPECT_EQ(upstream.waiting(), 0U);
  event(Tavro::PortEvent::kFlush);
  EXPECT_EQ(released(), 1U);
  addBuffers(1);
  gate.step();
  EXPECT_EQ(upstream.waiting(), 1U);
}

TEST_F(FeederTest, startWithoutAGraphStartsNothing) {
  connect();
  event(Tavro::PortEvent::kStart);
  addBuffers(1);
  gate.step();
  EXPECT_EQ(upstream.queries(), 0U);
}

TEST_F(FeederTest, aRebuildEndsTheFillingUnlessTheGraphRan) {
  build();
  ready();
  ASSERT_TRUE(write(44100, 2, 16));
  addBuffers(1);
  gate.step();
  EXPECT_EQ(upstream.queries(), 0U);
  event(Tavro::PortEvent::kStart);
  ASSERT_TRUE(write(48000, 2, 16));
  gate.step();
  EXPECT_EQ(upstream.waiting(), 0U);
}

TEST_F(FeederTest, aBufferPulledJustBeforeADisconnectIsHeldAndReleasedOnce) {
  build();
  addBuffers(1);
  session.clock.onRead = [this] { event(Tavro::PortEvent::kDisconnect); };
  feed();
  session.clock.onRead = nullptr;
  event(Tavro::PortEvent::kFlush);
  EXPECT_EQ(released(), 1U);
}

TEST_F(FeederTest, noLockIsHeldWhileTheFateOfABufferIsDecided) {
  build();
  addBuffers(2);
  const auto flushElsewhere = [this] {
    std::thread([this] {
      event(Tavro::PortEvent::kFlush);
      ready();
    }).join();
  };
  session.clock.onRead = flushElsewhere;
  feed();
  session.clock.onRead = nullptr;
  session.clock.ms = 100000;
  FakeBuffer& late = upstream.add(pattern(4), 1000, 10);
  late.onRelease = flushElsewhere;
  session.onReport = [&](const Report&) { flushElsewhere(); };
  feed();
  late.onRelease = nullptr;
  EXPECT_EQ(late.releases(), 1U);
}

TEST_F(FeederTest, withoutAPeerQueuedBuffersStayBehindSilence) {
  build();
  addBuffers(1);
  session.clock.ms = 1000;
  // A host that lets go and takes the output again while a pulled buffer is on its way.
  session.clock.onRead = [this] {
    session.clock.onRead = nullptr;
    event(Tavro::PortEvent::kDisconnect);
    component->output().disconnectInput(port);
    component->output().connectInput(Tavro::MediaType::Audio, &format, &source);
    write(44100, 2, 16);
  };
  feed();
  const Rendered first = render(100);
  EXPECT_TRUE(first.silent());
  EXPECT_THAT(first.bytes, Each(0));
  EXPECT_TRUE(render(100).silent());
  EXPECT_EQ(released(), 0U);
  EXPECT_THAT(session.takeReports(), IsEmpty());
}

TEST_F(FeederTest, destructionWaitsForTheQueryUnderWay) {
  build();
  addBuffers(1);
  std::atomic<bool> inside{false};
  std::atomic<bool> left{false};
  upstream.onQuery = [&] {
    inside = true;
    while (!left) {
      std::this_thread::yield();
    }
  };
  ready();
  gate.release();
  while (!inside) {
    std::this_thread::yield();
  }
  std::thread host([this] { component.reset(); });
  left = true;
  host.join();
  EXPECT_EQ(released(), 1U);
}

TEST_F(FeederTest, aDestroyedComponentReleasesWhatItHolds) {
  build();
  addBuffers(10);
  feed();
  session.clock.ms = 1000;
  render(50);
  component.reset();
  EXPECT_EQ(released(), 10U);
  EXPECT_EQ(session.reportsOf(Tavro::BufferState::kPlayed), 0U);
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
