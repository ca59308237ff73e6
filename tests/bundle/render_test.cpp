#include <algorithm>

#include "BundleTest.h"
#include "fakes/AllocationWatch.h"

namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::uint8_t> slice(const std::vector<std::uint8_t>& bytes, std::size_t from,
                                std::size_t to) {
  return {bytes.begin() + static_cast<std::ptrdiff_t>(from),
          bytes.begin() + static_cast<std::ptrdiff_t>(to)};
}

class RenderTest : public BundleTest {
 protected:
  FakeBuffer& queue(std::uint32_t bytes, std::uint32_t timeStampMs, std::uint32_t durationMs) {
    FakeBuffer& buffer = upstream.add(
        pattern(bytes, static_cast<unsigned>(upstream.buffers().size())), timeStampMs, durationMs);
    feed();
    return buffer;
  }

  void expectSilence(const Rendered& call) {
    EXPECT_EQ(call.status, noErr);
    EXPECT_EQ(call.flags, 0x10U);
    EXPECT_THAT(call.bytes, Each(0));
    EXPECT_EQ(call.byteSize, call.bytes.size());
    EXPECT_EQ(call.channels, 2U);
    EXPECT_TRUE(call.guardsIntact);
  }

  void expectSound(const Rendered& call, const std::vector<std::uint8_t>& front) {
    EXPECT_EQ(call.status, noErr);
    EXPECT_EQ(call.flags, 0U);
    EXPECT_EQ(call.byteSize, call.bytes.size());
    EXPECT_EQ(call.channels, 2U);
    EXPECT_EQ(call.piece(0, front.size()), front);
    EXPECT_THAT(call.piece(front.size(), call.bytes.size()), Each(0));
    EXPECT_TRUE(call.guardsIntact);
  }
};

TEST_F(RenderTest, anEmptyQueueIsSilence) {
  build();
  expectSilence(render(512));
}

TEST_F(RenderTest, anEarlyBufferWaitsBehindSilenceUntilItsTime) {
  build();
  session.clock.ms = 990;
  FakeBuffer& buffer = queue(400, 1000, 100);
  expectSilence(render(100));
  session.clock.ms = 999;
  expectSilence(render(100));
  EXPECT_THAT(session.takeReports(), IsEmpty());
  EXPECT_EQ(buffer.locks(), 0U);
  session.clock.ms = 1000;
  expectSound(render(100), buffer.content());
  EXPECT_THAT(session.takeReports(), ElementsAre(Report{77, 2, &buffer}, Report{77, 3, &buffer}));
  EXPECT_EQ(buffer.releases(), 1U);
}

TEST_F(RenderTest, aPartlyLateBufferIsEnteredAtTheClocksPosition) {
  build();
  session.clock.ms = 1050;
  FakeBuffer& buffer = queue(4000, 1000, 100);
  const Rendered call = render(100);
  expectSound(call, slice(buffer.content(), 2000, 2400));
  EXPECT_THAT(session.takeReports(), ElementsAre(Report{77, 2, &buffer}));
  FakeBuffer& next = queue(400, 1110, 10);  // synced: at most 10 ms after 1100
  expectSound(render(500), [&] {
    auto both = slice(buffer.content(), 2400, 4000);
    both.insert(both.end(), next.content().begin(), next.content().end());
    return both;
  }());
}

TEST_F(RenderTest, theSkipIsAWholeNumberOfFramesRoundedDown) {
  build();
  session.clock.ms = 1037;
  FakeBuffer& buffer = queue(1002, 1000, 100);  // 250 frames and 2 bytes
  const auto skipped = std::size_t{250 * 37 / 100} * 4;
  expectSound(render(250), slice(buffer.content(), skipped, 1002));
}

TEST_F(RenderTest, aWhollyLateBufferIsDroppedAndTheNextExaminedInTheSameCall) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& late = queue(4000, 1000, 100);
  FakeBuffer& next = queue(400, 1100, 10);
  session.clock.ms = 1101;
  const Rendered call = render(100);
  EXPECT_THAT(session.takeReports(),
              ElementsAre(Report{77, 4, &late}, Report{77, 2, &next}, Report{77, 3, &next}));
  EXPECT_EQ(late.releases(), 1U);
  EXPECT_EQ(late.locks(), 0U);
  expectSound(call, slice(next.content(), 100 * 1 / 10 * 4, 400));
}

TEST_F(RenderTest, atExactlyItsEndABufferIsPlayedFromItsStart) {
  build();
  session.clock.ms = 1100;
  FakeBuffer& buffer = queue(4000, 1000, 100);
  expectSound(render(1000), buffer.content());
}

TEST_F(RenderTest, aQueueOfLateBuffersEndsInSilenceAndOutOfSync) {
  build();
  session.clock.ms = 1000;
  for (unsigned i = 0; i < 3; ++i) {
    queue(400, 1000 + i, 1);
  }
  session.clock.ms = 2000;
  expectSilence(render(100));
  EXPECT_EQ(released(), 3U);
  FakeBuffer& early = queue(400, 2001, 10);
  expectSilence(render(100));
  EXPECT_EQ(early.releases(), 0U);
}

TEST_F(RenderTest, aBufferStampedZeroIsNeverDroppedNorSkippedInto) {
  build();
  session.clock.ms = 5;
  FakeBuffer& first = queue(400, 0, 10);
  expectSound(render(100), first.content());
  event(Tavro::PortEvent::kFlush);
  FakeBuffer& second = queue(400, 0, 10);
  session.clock.ms = 4000000000U;
  expectSound(render(100), second.content());
}

TEST_F(RenderTest, buffersWithinTenMillisecondsFollowBackToBack) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& first = queue(400, 1000, 100);
  FakeBuffer& second = queue(400, 1110, 10);
  FakeBuffer& overlapping = queue(400, 1050, 10);
  auto all = first.content();
  all.insert(all.end(), second.content().begin(), second.content().end());
  all.insert(all.end(), overlapping.content().begin(), overlapping.content().end());
  expectSound(render(300), all);
  EXPECT_THAT(session.takeReports(),
              ElementsAre(Report{77, 2, &first}, Report{77, 3, &first}, Report{77, 2, &second},
                          Report{77, 3, &second}, Report{77, 2, &overlapping},
                          Report{77, 3, &overlapping}));
}

TEST_F(RenderTest, aGapBeyondTenMillisecondsSilencesTheWholeCall) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& first = queue(400, 1000, 100);
  FakeBuffer& second = queue(400, 1111, 10);
  expectSilence(render(200));
  EXPECT_THAT(session.takeReports(), ElementsAre(Report{77, 2, &first}, Report{77, 3, &first}));
  EXPECT_EQ(first.releases(), 1U);
  session.clock.ms = 1110;
  expectSilence(render(100));  // out of sync: the clock decides
  session.clock.ms = 1111;
  expectSound(render(100), second.content());
}

TEST_F(RenderTest, whileInSyncTheClockIsNotConsulted) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& first = queue(800, 1000, 10);
  FakeBuffer& second = queue(400, 1010, 10);
  expectSound(render(100), slice(first.content(), 0, 400));
  session.clock.ms = 900000;
  expectSound(render(100), slice(first.content(), 400, 800));
  expectSound(render(100), second.content());
  EXPECT_EQ(session.reportsOf(Tavro::BufferState::kDroppedLate), 0U);
}

TEST_F(RenderTest, anEmptyQueueLeavesTheSyncAsItIs) {
  build();
  session.clock.ms = 1000;
  queue(400, 1000, 10);
  render(100);
  expectSilence(render(100));
  FakeBuffer& early = queue(400, 1020, 10);  // later than now, but follows on
  expectSound(render(100), early.content());
}

TEST_F(RenderTest, aQueueThatRunsDryInTheCallIsFilledUpWithSilence) {
  build(Tavro::FormatCode::kFloat);
  session.clock.ms = 1000;
  FakeBuffer& first = queue(600, 1000, 10);
  FakeBuffer& second = queue(400, 1010, 10);
  auto both = first.content();
  both.insert(both.end(), second.content().begin(), second.content().end());
  const Rendered call = render(512);
  EXPECT_EQ(call.byteSize, 4096U);
  expectSound(call, both);
  EXPECT_EQ(timeBase().currentTime(), 4096U * 1000 / 384000);
}

TEST_F(RenderTest, aBufferSpanningCallsIsReportedAsPlayingInEachAndReleasedAtItsEnd) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& buffer = queue(1000, 1000, 10);
  expectSound(render(100), slice(buffer.content(), 0, 400));
  expectSound(render(100), slice(buffer.content(), 400, 800));
  EXPECT_EQ(buffer.releases(), 0U);
  expectSound(render(100), slice(buffer.content(), 800, 1000));
  EXPECT_THAT(session.takeReports(), ElementsAre(Report{77, 2, &buffer}, Report{77, 2, &buffer},
                                                 Report{77, 2, &buffer}, Report{77, 3, &buffer}));
  EXPECT_EQ(buffer.locks(), 3U);
}

TEST_F(RenderTest, aTooSmallCapacityIsSilenceAndNothingBeyondItIsWritten) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& buffer = queue(400, 1000, 10);
  render(50);  // in sync from here
  for (const UInt32 capacity : {0U, 1U, 199U}) {
    const Rendered call = render(50, capacity);
    EXPECT_EQ(call.status, noErr);
    EXPECT_TRUE(call.silent());
    EXPECT_TRUE(call.guardsIntact) << capacity;
    EXPECT_THAT(call.bytes, Each(0));
    EXPECT_THAT(call.byteSize, testing::AnyOf(capacity, 200U));
  }
  EXPECT_EQ(buffer.releases(), 0U);
  FakeBuffer& next = queue(400, 1015, 10);  // would follow on, were the sync not lost
  expectSound(render(50), slice(buffer.content(), 200, 400));
  EXPECT_EQ(next.releases(), 0U);
  EXPECT_EQ(timeBase().currentTime(), 5U * 200 * 1000 / 192000);
}

TEST_F(RenderTest, aTooSmallCapacityLosesTheSync) {
  build();
  session.clock.ms = 1000;
  queue(200, 1000, 10);
  render(50);
  FakeBuffer& early = queue(200, 1015, 10);
  render(50, 100);
  expectSilence(render(50));
  session.clock.ms = 1015;
  expectSound(render(50), early.content());
}

TEST_F(RenderTest, anEmptyQueueAndATooSmallCapacityStayWithinTheCapacity) {
  build();
  const Rendered call = render(512, 100);
  EXPECT_TRUE(call.silent());
  EXPECT_TRUE(call.guardsIntact);
}

TEST_F(RenderTest, aLargerCapacityThanTheRequestIsWrittenNoFurtherThanTheRequest) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& buffer = queue(1000, 1000, 10);
  const Rendered call = render(100, 600);
  EXPECT_EQ(call.byteSize, 400U);
  EXPECT_EQ(call.piece(0, 400), slice(buffer.content(), 0, 400));
  EXPECT_THAT(call.piece(400, 600), Each(0xEE));
}

TEST_F(RenderTest, aRecordWithoutBytesLeavesTheQueueAsPlayedToItsEnd) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& empty = queue(0, 1000, 10);
  FakeBuffer& next = queue(400, 1010, 10);
  session.clock.ms = 1010;
  Rendered call = render(100);
  for (int i = 0; i < 3 && call.silent(); ++i) {
    call = render(100);
  }
  expectSound(call, next.content());
  EXPECT_EQ(empty.releases(), 1U);
  const auto reports = session.takeReports();
  EXPECT_EQ(std::count(reports.begin(), reports.end(), Report{77, 3, &empty}), 1);
  EXPECT_EQ(std::count(reports.begin(), reports.end(), Report{77, 4, &empty}), 0);
}

TEST_F(RenderTest, aLoneRecordWithoutBytesIsSilenceAndIsReleased) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& empty = queue(0, 1000, 10);
  expectSilence(render(100));
  expectSilence(render(100));
  EXPECT_EQ(empty.releases(), 1U);
}

TEST_F(RenderTest, recordsWithoutBytesInTheMiddleDoNotInterruptTheSound) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& first = queue(400, 1000, 10);
  queue(0, 1010, 0);
  FakeBuffer& last = queue(400, 1010, 10);
  auto both = first.content();
  both.insert(both.end(), last.content().begin(), last.content().end());
  expectSound(render(200), both);
  EXPECT_EQ(released(), 3U);
}

TEST_F(RenderTest, bothClocksAreReadOnceACallWhateverItMeets) {
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
}

TEST_F(RenderTest, theTimeOfACallIsTakenBeforeTheQueueIsExamined) {
  build();
  session.clock.ms = 1000;
  queue(400, 1000, 10);
  wall.ms = 5000;
  session.onReport = [this](const Report&) { wall.ms = 5100; };
  render(100);
  EXPECT_EQ(timeBase().currentTime(), 400U * 1000 / 192000 + 100);
}

TEST_F(RenderTest, aResetLinesTheNextBufferUpWithTheClockAgain) {
  build();
  session.clock.ms = 1000;
  queue(400, 1000, 10);
  render(100);
  event(Tavro::PortEvent::kFlush);
  FakeBuffer& following = queue(400, 1012, 10);
  expectSilence(render(100));
  session.clock.ms = 1012;
  expectSound(render(100), following.content());
}

TEST_F(RenderTest, aCallAllocatesNothing) {
  build();
  session.clock.ms = 1000;
  for (unsigned i = 0; i < 9; ++i) {
    upstream.add(pattern(400, i), 1000 + i * 10, 10);
  }
  feed();
  std::vector<std::uint8_t> memory(1024);
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
