#include <thread>

#include "BundleTest.h"

namespace {

// Where in a render call the queue is emptied.
enum class Moment { Lock, Unlock, Release, Playing, Played, DroppedLate, ClockRead };

struct Case {
  const char* name;
  Moment moment;
  std::uint32_t event;
  bool otherThread;
};

/// A flush in the middle of a render call, from the callback's own thread or from another one that
/// the call waits for: whichever side releases a buffer, it is released once, and nothing of it is
/// used afterwards (BundleTest::TearDown and FakeBuffer look).
class FlushTest : public BundleTest, public testing::WithParamInterface<Case> {
 protected:
  void flushOnce() {
    if (m_done) {
      return;
    }
    m_done = true;
    if (GetParam().otherThread) {
      std::thread([this] { event(GetParam().event); }).join();
    } else {
      event(GetParam().event);
    }
  }

  void arm(FakeBuffer& buffer) {
    const auto flush = [this] { flushOnce(); };
    const auto flushAt = [this](std::uint32_t state) {
      session.onReport = [this, state](const Report& report) {
        if (report.state == state) {
          flushOnce();
        }
      };
    };
    switch (GetParam().moment) {
      case Moment::Lock:
        buffer.onLock = flush;
        break;
      case Moment::Unlock:
        buffer.onUnlock = flush;
        break;
      case Moment::Release:
        buffer.onRelease = flush;
        break;
      case Moment::Playing:
        flushAt(Tavro::BufferState::kPlaying);
        break;
      case Moment::Played:
        flushAt(Tavro::BufferState::kPlayed);
        break;
      case Moment::DroppedLate:
        flushAt(Tavro::BufferState::kDroppedLate);
        break;
      case Moment::ClockRead:
        session.clock.onRead = flush;
        break;
    }
  }

  /// Three records of 100 frames, the first armed.
  FakeBuffer& fill() {
    session.clock.ms = 1000;
    FakeBuffer& first = upstream.add(pattern(400, 0), 1000, 10);
    upstream.add(pattern(400, 1), 1010, 10);
    upstream.add(pattern(400, 2), 1020, 10);
    feed();
    arm(first);
    return first;
  }

  void callWith(UInt32 frames) {
    if (GetParam().moment == Moment::DroppedLate) {
      session.clock.ms = 1011;  // the first is wholly late, the second has begun
    }
    const Rendered call = render(frames);
    disarm();
    EXPECT_EQ(call.status, noErr);
    EXPECT_TRUE(call.guardsIntact);
    EXPECT_EQ(call.byteSize, frames * 4);
    EXPECT_THAT(call.bytes, testing::Not(testing::Contains(0xDD))) << "bytes read after release";
  }

  void disarm() {
    session.onReport = nullptr;
    session.clock.onRead = nullptr;
    for (FakeBuffer* buffer : upstream.buffers()) {
      buffer->onLock = buffer->onUnlock = buffer->onRelease = nullptr;
    }
  }

  /// After the flush nothing old is heard, and what comes next plays as if nothing had been.
  void expectNewSoundOnly() {
    const bool atTheEnd =
        GetParam().moment == Moment::Release || GetParam().moment == Moment::Played;
    EXPECT_TRUE(m_done || atTheEnd);
    if (!m_done) {
      return;
    }
    EXPECT_TRUE(render(100).silent());
    EXPECT_EQ(released(), 3U);
    session.clock.ms = 5000;
    FakeBuffer& fresh = upstream.add(pattern(400, 9), 5000, 10);
    feed();
    const Rendered call = render(100);
    EXPECT_EQ(call.bytes, fresh.content());
    EXPECT_EQ(released(), 4U);
  }

  bool m_done = false;
};

TEST_P(FlushTest, inTheMiddleOfACallThatLeavesTheBufferUnfinished) {
  build();
  fill();
  callWith(60);
  expectNewSoundOnly();
}

TEST_P(FlushTest, inTheMiddleOfACallThatEndsWithTheBuffer) {
  build();
  fill();
  callWith(100);
  expectNewSoundOnly();
}

TEST_P(FlushTest, inTheMiddleOfACallThatGoesOnToTheNextBuffers) {
  build();
  fill();
  callWith(400);
  expectNewSoundOnly();
}

TEST_P(FlushTest, withNewBuffersQueuedAtOnceTheyAreNotTakenForTheOldOnes) {
  build();
  FakeBuffer& first = fill();
  if (GetParam().moment == Moment::Unlock) {
    FakeBuffer* fresh = nullptr;
    first.onUnlock = [&] {
      flushOnce();
      fresh = &upstream.add(pattern(400, 7), 1005, 10);
      feed();
    };
    callWith(60);
    session.clock.ms = 1005;
    const Rendered next = render(100);
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(next.bytes, fresh->content());
    EXPECT_EQ(fresh->releases(), 1U);
  } else {
    callWith(60);
  }
  EXPECT_EQ(first.releases(), m_done ? 1U : first.releases());
}

std::vector<Case> cases() {
  std::vector<Case> all;
  for (const auto& [name, moment] :
       std::vector<std::pair<const char*, Moment>>{{"Lock", Moment::Lock},
                                                   {"Unlock", Moment::Unlock},
                                                   {"Release", Moment::Release},
                                                   {"ReportPlaying", Moment::Playing},
                                                   {"ReportPlayed", Moment::Played},
                                                   {"ReportDropped", Moment::DroppedLate},
                                                   {"ClockRead", Moment::ClockRead}}) {
    all.push_back({name, moment, Tavro::PortEvent::kFlush, false});
    all.push_back({name, moment, Tavro::PortEvent::kFlushAgain, true});
  }
  return all;
}

INSTANTIATE_TEST_SUITE_P(At, FlushTest, testing::ValuesIn(cases()), [](const auto& one) {
  return std::string(one.param.name) + (one.param.otherThread ? "FromAnotherThread" : "");
});

}  // namespace
