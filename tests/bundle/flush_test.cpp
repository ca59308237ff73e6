// SPDX-License-Identifier: MIT

#include <functional>
#include <map>
#include <string>
#include <tuple>
#include <utility>

#include "BundleTest.h"

namespace {

const std::map<std::string, std::uint32_t> kReports = {
    {"playing", Tavro::BufferState::kPlaying},
    {"played", Tavro::BufferState::kPlayed},
    {"dropped", Tavro::BufferState::kDroppedLate}};

/// A flush in the middle of a render call, from the callback's own thread or from another one that
/// the call waits for, and a new buffer right after it: whichever side releases a buffer, it is
/// released once, nothing of it is used afterwards (BundleTest and FakeBuffer look), and the new
/// one is not taken for an old one. Parameters: the moment, whether from another thread, and the
/// frames of the call, which leaves the buffer unfinished, ends with it, or continues.
class FlushTest : public BundleTest,
                  public testing::WithParamInterface<std::tuple<std::string, bool, UInt32>> {
 protected:
  void flushOnce() {
    if (!m_done) {
      m_done = true;
      flush(std::get<1>(GetParam()));
      m_fresh = &queue(400, 1015, 10);  // would follow on, were the sync not lost
    }
  }

  void arm(FakeBuffer& buffer) {
    const auto flushNow = [this] { flushOnce(); };
    const std::map<std::string, std::function<void()>*> hooks = {
        {"lock", &buffer.onLock},
        {"unlock", &buffer.onUnlock},
        {"release", &buffer.onRelease},
        {"clock read", &session.clock.onRead}};
    if (const auto hook = hooks.find(m_moment); hook != hooks.end()) {
      *hook->second = flushNow;
    } else {
      session.onReport = [this, state = kReports.at(m_moment)](const Report& report) {
        if (report.state == state) {
          flushOnce();
        }
      };
    }
  }

  void expectNewSoundOnly() {
    EXPECT_TRUE(render(100).silent());
    EXPECT_EQ(released(), 3U);
    session.clock.ms = 1015;
    EXPECT_EQ(render(100).bytes, m_fresh->content());
    EXPECT_EQ(released(), 4U);
  }

  const std::string m_moment = std::get<0>(GetParam());
  const UInt32 m_frames = std::get<2>(GetParam());
  bool m_done = false;
  FakeBuffer* m_fresh = nullptr;
};

TEST_P(FlushTest, inTheMiddleOfACallNothingOldIsHeardAfterwards) {
  build();
  session.clock.ms = 1000;
  FakeBuffer& first = queue(400, 1000, 10);
  queue(400, 1010, 10);
  queue(400, 1020, 10);
  if (m_moment == "dropped") {
    session.clock.ms = 1011;  // the first is wholly late, the second has begun
  }
  arm(first);
  const Rendered call = render(m_frames);
  const bool notReached = m_frames < 100 && (m_moment == "release" || m_moment == "played");
  ASSERT_NE(std::exchange(m_done, true), notReached);
  EXPECT_EQ(call.status, noErr);
  EXPECT_TRUE(call.guardsIntact);
  EXPECT_EQ(call.byteSize, m_frames * 4);
  EXPECT_THAT(call.bytes, testing::Not(testing::Contains(0xDD))) << "bytes read after release";
  if (!notReached) {
    expectNewSoundOnly();
  }
}

INSTANTIATE_TEST_SUITE_P(At, FlushTest,
                         testing::Combine(testing::Values("lock", "unlock", "release", "playing",
                                                          "played", "dropped", "clock read"),
                                          testing::Bool(), testing::Values(60U, 100U, 400U)));

}  // namespace
