// SPDX-License-Identifier: MIT

#include "BundleTest.h"

namespace {

using testing::Each;

/// What a call does with its memory and its clocks; which sound it makes of the queue is compared
/// with a model elsewhere.
class RenderTest : public BundleTest {};

TEST_F(RenderTest, aTooSmallCapacityIsSilenceOutOfSyncAndNothingBeyondItIsWritten) {
  build();
  session.clock.ms = 1000;
  const auto expectSilenceWithin = [this](UInt32 capacity) {
    const Rendered call = render(50, capacity);
    EXPECT_EQ(call.status, noErr);
    EXPECT_TRUE(call.silent());
    EXPECT_TRUE(call.guardsIntact) << capacity;
    EXPECT_THAT(call.bytes, Each(0));
    EXPECT_THAT(call.byteSize, testing::AnyOf(capacity, 200U));
  };
  expectSilenceWithin(100);  // with an empty queue too
  FakeBuffer& first = queue(200, 1000, 10);
  EXPECT_EQ(render(50).bytes, first.content());
  FakeBuffer& early = queue(200, 1015, 10);  // follows on, were the sync not lost
  for (const UInt32 capacity : {0U, 1U, 199U, 200U}) {
    expectSilenceWithin(capacity);
  }
  session.clock.ms = 1015;
  EXPECT_EQ(render(50).bytes, early.content());
  EXPECT_EQ(timeBase().currentTime(), 7U * 200 * 1000 / 192000);
}

TEST_F(RenderTest, aLargerCapacityThanTheRequestIsWrittenNoFurtherThanTheRequest) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& buffer = queue(1000, 1000, 10);
  const Rendered call = render(100, 600);
  EXPECT_EQ(call.byteSize, 400U);
  EXPECT_EQ(slice(call.bytes, 0, 400), slice(buffer.content(), 0, 400));
  EXPECT_EQ(slice(call.bytes, 400, 600), Bytes(200, 0xEE));
}

TEST_F(RenderTest, aCallReadsBothClocksOnceBeforeTheQueueIsExamined) {
  build();
  session.clock.ms = 1000;
  for (unsigned i = 0; i < 4; ++i) {
    queue(100, 1000 + i * 10, 10);
  }
  session.onReport = [this](const Report&) { wall.ms += 50; };
  session.clock.reads = 0;
  wall.reads = 0;
  render(60);  // two buffers and the beginning of the third: five reports
  EXPECT_EQ(session.clock.reads, 1U);
  EXPECT_EQ(wall.reads, 1U);
  EXPECT_EQ(timeBase().currentTime(), 60U * 4 * 1000 / 192000 + 5 * 50);
}

}  // namespace
