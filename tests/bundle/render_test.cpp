#include <algorithm>

#include "BundleTest.h"
#include "fakes/AllocationWatch.h"

namespace {

using testing::Each;
using testing::ElementsAre;

/// Single steps and edges; long random sequences are compared with a model elsewhere.
class RenderTest : public BundleTest {
 protected:
  void expectSilence(const Rendered& call) {
    EXPECT_EQ(call.flags, 0x10U);
    EXPECT_THAT(call.bytes, Each(0));
    expectWhole(call);
  }

  /// The sound of `front`, and silence behind it.
  void expectSound(const Rendered& call, Bytes front) {
    EXPECT_EQ(call.flags, 0U);
    front.resize(call.bytes.size());
    EXPECT_EQ(call.bytes, front);
    expectWhole(call);
  }

 private:
  void expectWhole(const Rendered& call) {
    EXPECT_EQ(call.status, noErr);
    EXPECT_EQ(call.byteSize, call.bytes.size());
    EXPECT_EQ(call.channels, 2U);
    EXPECT_TRUE(call.guardsIntact);
  }
};

Bytes operator+(Bytes first, const Bytes& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

TEST_F(RenderTest, outOfSyncABufferIsLinedUpWithTheClock) {
  enum Fate { Waits, Plays, Dropped };
  struct Row {
    std::uint32_t now, timeStampMs, bytes;
    Fate fate;
    std::size_t from;  // the first byte played
  };
  for (const Row& row : {
           Row{999, 1000, 4000, Waits, 0},
           Row{1000, 1000, 4000, Plays, 0},
           Row{1050, 1000, 4000, Plays, 2000},
           Row{1037, 1000, 1002, Plays, std::size_t{250 * 37 / 100} * 4},  // whole frames
           Row{1100, 1000, 4000, Plays, 0},
           Row{1101, 1000, 4000, Dropped, 0},
           Row{5, 0, 4000, Plays, 0},
           Row{4000000000U, 0, 4000, Plays, 0},
       }) {
    SCOPED_TRACE(testing::Message() << row.now << " at " << row.timeStampMs);
    build();
    session.clock.ms = 0;
    FakeBuffer& buffer = queue(row.bytes, row.timeStampMs, 100);
    session.clock.ms = row.now;
    const Rendered call = render(1000);
    if (row.fate == Plays) {
      expectSound(call, slice(buffer.content(), row.from, row.bytes));
    } else {
      expectSilence(call);
      EXPECT_EQ(buffer.locks(), 0U);
    }
    EXPECT_EQ(session.reportsOf[4].exchange(0), row.fate == Dropped ? 1U : 0U);
    EXPECT_EQ(buffer.releases(), row.fate == Waits ? 0U : 1U);
    end();
  }
}

TEST_F(RenderTest, inSyncBuffersFollowOnUpToAGapOfTenMilliseconds) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& first = queue(400, 1000, 100);
  FakeBuffer& second = queue(400, 1110, 10);
  expectSound(render(200), first.content() + second.content());
  queue(400, 1131, 10);
  expectSilence(render(100));
}

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
  queue(200, 1000, 10);
  expectSound(render(50), upstream.buffers()[0]->content());
  FakeBuffer& early = queue(200, 1015, 10);  // follows on, were the sync not lost
  for (const UInt32 capacity : {0U, 1U, 199U}) {
    expectSilenceWithin(capacity);
  }
  expectSilence(render(50));
  session.clock.ms = 1015;
  expectSound(render(50), early.content());
  EXPECT_EQ(timeBase().currentTime(), 7U * 200 * 1000 / 192000);
}

TEST_F(RenderTest, aLargerCapacityThanTheRequestIsWrittenNoFurtherThanTheRequest) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& buffer = queue(1000, 1000, 10);
  const Rendered call = render(100, 600);
  EXPECT_EQ(call.byteSize, 400U);
  EXPECT_EQ(call.bytes, slice(buffer.content(), 0, 400) + Bytes(200, 0xEE));
}

TEST_F(RenderTest, recordsWithoutBytesLeaveTheQueueAsPlayedAndDoNotInterruptTheSound) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& first = queue(400, 1000, 10);
  queue(0, 1010, 0);
  FakeBuffer& last = queue(400, 1010, 10);
  expectSound(render(200), first.content() + last.content());
  EXPECT_EQ(released(), 3U);
}

TEST_F(RenderTest, aCallReadsBothClocksOnceBeforeTheQueueIsExamined) {
  build();
  session.clock.ms = 1000;
  for (unsigned i = 0; i < 6; ++i) {
    queue(100, 1000 + i * 10, 10);
  }
  for (const UInt32 frames : {30U, 100U, 100U, 100U}) {
    session.clock.reads = 0;
    wall.reads = 0;
    render(frames);
    EXPECT_EQ(session.clock.reads, 1U);
    EXPECT_EQ(wall.reads, 1U);
  }
  queue(100, 1060, 10);
  session.onReport = [this](const Report&) { wall.ms += 50; };
  render(30);
  EXPECT_EQ(timeBase().currentTime(), 360U * 4 * 1000 / 192000 + 100);
}

TEST_F(RenderTest, aCallAllocatesNothing) {
  build();
  session.clock.ms = 1000;
  for (unsigned i = 0; i < 9; ++i) {
    queue(400, 1000 + i * 10, 10);
  }
  Bytes memory(1024);
  const AURenderCallbackStruct callback = platform.liveGraph()->unit.callback;
  for (int i = 0; i < 6; ++i) {
    AudioBufferList list{1, {{2, 600, memory.data()}}};
    AudioUnitRenderActionFlags flags = 0;
    const std::uint64_t before = AllocationWatch::countOfThisThread();
    callback.inputProc(callback.inputProcRefCon, &flags, nullptr, 0, 150, &list);
    EXPECT_EQ(AllocationWatch::countOfThisThread(), before);
  }
  EXPECT_EQ(released(), 9U);
}

}  // namespace
