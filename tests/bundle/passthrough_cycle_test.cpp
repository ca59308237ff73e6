#include <thread>

#include "PassthroughTest.h"

namespace {

using testing::Each;
using testing::IsEmpty;

class PassthroughCycleTest : public PassthroughTest {};

TEST_F(PassthroughCycleTest, burstsReachTheChosenStreamInOrderOneACycle) {
  ASSERT_TRUE(passthrough());
  queueBursts({kBurstBytes, kBurstBytes, kBurstBytes});
  EXPECT_TRUE(ready());
  const auto buffers = upstream.buffers();
  for (std::size_t i = 0; i < 3; ++i) {
    const auto memory = cycle();
    EXPECT_THAT(memory[0], Each(0));
    EXPECT_TRUE(memory[1] == buffers[i]->content());
    EXPECT_EQ(released(), i + 1);
  }
  EXPECT_THAT(cycle()[1], Each(0));
  EXPECT_THAT(session.takeReports(), IsEmpty());
}

TEST_F(PassthroughCycleTest, recordsOfAnotherSizeAreConsumedWithoutOutput) {
  ASSERT_TRUE(passthrough());
  queueBursts({4096, kBurstBytes, 8192, 0, kBurstBytes - 1});
  EXPECT_THAT(cycle()[1], Each(0));
  EXPECT_TRUE(cycle()[1] == upstream.buffers()[1]->content());
  for (unsigned i = 3; i <= 5; ++i) {
    EXPECT_THAT(cycle()[1], Each(0));
    EXPECT_EQ(released(), i);
  }
}

TEST_F(PassthroughCycleTest, aDeviceBufferOfAnotherSizeConsumesWithoutOutput) {
  ASSERT_TRUE(passthrough());
  queueBursts({kBurstBytes, kBurstBytes});
  EXPECT_THAT(cycle({kBurstBytes, 8192})[1], Each(0));
  EXPECT_THAT(cycle({kBurstBytes, 512})[1], Each(0));
  EXPECT_EQ(released(), 2U);
}

TEST_F(PassthroughCycleTest, nothingIsConsumedWithoutABufferForTheStream) {
  ASSERT_TRUE(passthrough());
  queueBursts({kBurstBytes, kBurstBytes});
  callProcedure(nullptr);
  EXPECT_THAT(cycle({kBurstBytes})[0], Each(0));
  cycle({});
  cycle({kBurstBytes, 0});
  EXPECT_EQ(released(), 0U);
  const FakeIOProc* proc = platform.ioProc();
  AudioBufferList list{0, {{0, 0, nullptr}}};
  EXPECT_EQ(proc->procedure(kDevice, nullptr, nullptr, nullptr, &list, nullptr, nullptr), 0);
}

TEST_F(PassthroughCycleTest, stopAndStartChangeNothingAndAFlushEmptiesTheQueue) {
  ASSERT_TRUE(passthrough());
  queueBursts({kBurstBytes, kBurstBytes, kBurstBytes});
  journal.take();
  EXPECT_TRUE(event(Tavro::PortEvent::kStop));
  EXPECT_TRUE(event(Tavro::PortEvent::kStart));
  EXPECT_TRUE(ready());
  EXPECT_TRUE(event(Tavro::PortEvent::kFlush));
  EXPECT_EQ(released(), 3U);
  EXPECT_THAT(journal.take(), IsEmpty());
  EXPECT_TRUE(platform.ioProc()->running);
  EXPECT_THAT(cycle()[1], Each(0));
  const unsigned queries = upstream.queries();
  gate.step();
  EXPECT_EQ(upstream.queries(), queries);
}

TEST_F(PassthroughCycleTest, theReadyCheckNeedsThreeBursts) {
  ASSERT_TRUE(passthrough());
  queueBursts({kBurstBytes, kBurstBytes});
  EXPECT_FALSE(ready());
  queueBursts({kBurstBytes});
  EXPECT_TRUE(ready());
}

TEST_F(PassthroughCycleTest, thePlayingTimeStandsStillAndTheTimeBaseDoesNotRun) {
  ASSERT_TRUE(passthrough());
  queueBursts({kBurstBytes});
  wall.ms += 100;
  cycle();
  wall.ms += 100;
  EXPECT_EQ(timeBase().currentTime(), 0U);
  EXPECT_FALSE(timeBase().isRunning());
}

TEST_F(PassthroughCycleTest, aFlushInTheMiddleOfACycleReleasesTheBurstOnce) {
  for (const bool otherThread : {false, true}) {
    for (int moment = 0; moment < 3; ++moment) {
      SCOPED_TRACE(moment);
      SetUp();
      ASSERT_TRUE(passthrough());
      queueBursts({kBurstBytes, kBurstBytes});
      FakeBuffer* first = upstream.buffers()[0];
      bool done = false;
      const auto flush = [&] {
        if (done) {
          return;
        }
        done = true;
        if (otherThread) {
          std::thread([this] { event(Tavro::PortEvent::kFlush); }).join();
        } else {
          event(Tavro::PortEvent::kFlush);
        }
        upstream.add(pattern(kBurstBytes, 9), 1000, 32);  // queued before the cycle goes on
        if (moment != 2) {
          feed();
        }
      };
      (moment == 0 ? first->onLock : moment == 1 ? first->onUnlock : first->onRelease) = flush;
      cycle();
      first->onLock = first->onUnlock = first->onRelease = nullptr;
      EXPECT_EQ(released(), 2U);
      feed();
      EXPECT_TRUE(cycle()[1] == upstream.buffers()[2]->content()) << "the fresh burst was lost";
      end();
    }
  }
  SetUp();
}

}  // namespace
