// SPDX-License-Identifier: MIT

#include <functional>
#include <tuple>
#include <utility>

#include "PassthroughTest.h"

namespace {

using testing::Each;
using testing::IsEmpty;

class PassthroughCycleTest : public PassthroughTest {
 protected:
  void SetUp() override {
    PassthroughTest::SetUp();
    ASSERT_TRUE(passthrough());
  }
};

TEST_F(PassthroughCycleTest, burstsReachTheChosenStreamInOrderOneACycleOutsideAnyClock) {
  queueBursts({kBurstBytes, kBurstBytes});
  EXPECT_FALSE(ready());
  queueBursts({kBurstBytes});
  EXPECT_TRUE(ready());
  const auto buffers = upstream.buffers();
  for (std::size_t i = 0; i < 3; ++i) {
    wall.ms += 100;
    const auto memory = cycle();
    EXPECT_THAT(memory[0], Each(0));
    EXPECT_TRUE(memory[1] == buffers[i]->content());
    EXPECT_EQ(released(), i + 1);
  }
  EXPECT_THAT(cycle()[1], Each(0));
  EXPECT_THAT(session.takeReports(), IsEmpty());
  EXPECT_EQ(timeBase().currentTime(), 0U);
  EXPECT_FALSE(timeBase().isRunning());
}

TEST_F(PassthroughCycleTest, recordsAndDeviceBuffersOfAnotherSizeConsumeWithoutOutput) {
  queueBursts({4096, kBurstBytes, 8192, 0, kBurstBytes - 1, kBurstBytes, kBurstBytes});
  EXPECT_THAT(cycle()[1], Each(0));
  EXPECT_TRUE(cycle()[1] == upstream.buffers()[1]->content());
  for (unsigned i = 3; i <= 5; ++i) {
    EXPECT_THAT(cycle()[1], Each(0));
    EXPECT_EQ(released(), i);
  }
  EXPECT_THAT(cycle({kBurstBytes, 8192})[1], Each(0));
  EXPECT_THAT(cycle({kBurstBytes, 512})[1], Each(0));
  EXPECT_EQ(released(), 7U);
}

TEST_F(PassthroughCycleTest, nothingIsConsumedWithoutABufferForTheStream) {
  queueBursts({kBurstBytes, kBurstBytes});
  callProcedure(nullptr);
  EXPECT_THAT(cycle({kBurstBytes})[0], Each(0));
  cycle({});
  cycle({kBurstBytes, 0});
  EXPECT_EQ(released(), 0U);
  AudioBufferList list{0, {{0, 0, nullptr}}};
  const auto procedure = platform.ioProc()->procedure;
  EXPECT_EQ(procedure(kDevice, nullptr, nullptr, nullptr, &list, nullptr, nullptr), 0);
}

TEST_F(PassthroughCycleTest, stopAndStartChangeNothingAndAFlushEmptiesTheQueue) {
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

class PassthroughFlushTest : public PassthroughCycleTest,
                             public testing::WithParamInterface<std::tuple<int, bool>> {};

TEST_P(PassthroughFlushTest, inTheMiddleOfACycleReleasesTheBurstOnceAndLosesNoFreshOne) {
  const auto [moment, otherThread] = GetParam();
  queueBursts({kBurstBytes, kBurstBytes});
  FakeBuffer* first = upstream.buffers()[0];
  const std::function<void()> flushOnce = [&, done = false, fromThread = otherThread]() mutable {
    if (!std::exchange(done, true)) {
      flush(fromThread);
      queueBursts({kBurstBytes});  // before the cycle continues
    }
  };
  (moment == 0 ? first->onLock : moment == 1 ? first->onUnlock : first->onRelease) = flushOnce;
  cycle();
  EXPECT_EQ(released(), 2U);
  EXPECT_TRUE(cycle()[1] == upstream.buffers()[2]->content()) << "the fresh burst was lost";
}

INSTANTIATE_TEST_SUITE_P(AtLockUnlockOrRelease, PassthroughFlushTest,
                         testing::Combine(testing::Range(0, 3), testing::Bool()));

}  // namespace
