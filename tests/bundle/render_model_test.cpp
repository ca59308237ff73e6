// SPDX-License-Identifier: MIT

#include <algorithm>
#include <deque>
#include <optional>
#include <random>
#include <string>

#include "BundleTest.h"
#include "RenderModel.h"

namespace {

constexpr unsigned kSequences = 250;  // for each instance
constexpr unsigned kSteps = 60;

/// Random sequences of everything that can happen to buffers, one step after another, the bundle
/// beside the model. A mismatch names the seed and the step.
class RenderModelTest : public BundleTest, public testing::WithParamInterface<unsigned> {
 protected:
  using Shape = RenderModel::Shape;

  std::uint32_t pick(std::uint32_t below) {
    return std::uniform_int_distribution<std::uint32_t>(0, below - 1)(m_random);
  }
  bool chance(std::uint32_t percent) { return pick(100) < percent; }

  Shape randomShape() {
    const std::uint32_t rates[] = {8000, 44100, 48000, 96000};
    Shape next{rates[pick(4)], 1 + pick(6), 1 + pick(4)};
    if (next.sampleRate == m_shape.sampleRate && next.channels == m_shape.channels) {
      next.channels = 7;  // a change of the sample size alone would be no change
    }
    return next;
  }

  void applyShape() {
    m_shape = randomShape();
    ASSERT_TRUE(write(m_shape.sampleRate, m_shape.channels, m_shape.bytesPerSample * 8));
    m_model->rebuild(m_shape);
  }

  std::uint32_t nextStamp() {
    if (chance(m_streamEnd < 100 ? 30 : 4)) {
      return 0;
    }
    if (chance(80)) {
      return m_streamEnd + (chance(30) ? pick(12) : 0);
    }
    return m_streamEnd + pick(60) - 25;  // gaps and overlaps
  }

  void deliver() {
    for (std::uint32_t n = 1 + pick(4); n > 0; --n) {
      const std::uint32_t stamp = nextStamp();
      const std::uint32_t duration = chance(5) ? 0 : 1 + pick(30);
      const std::uint32_t frameBytes = m_shape.channels * m_shape.bytesPerSample;
      const std::uint32_t ideal = m_shape.sampleRate / 1000 * duration * frameBytes;
      const std::uint32_t size = chance(5) ? 0 : chance(80) ? ideal : 1 + pick(3000);
      m_waiting.push_back(&add(size, stamp, duration));
      if (stamp != 0) {
        m_streamEnd = stamp + duration;
      }
    }
  }

  void moveClock() {
    const std::uint32_t now = session.clock.ms;
    if (chance(85)) {
      session.clock.ms = now + pick(25);
    } else if (chance(50)) {
      session.clock.ms = m_streamEnd - pick(80) + 20;
    } else {
      session.clock.ms = now + pick(500) - 100;
    }
    wall.ms += pick(30);
  }

  void renderBoth() {
    const std::uint32_t frames = chance(3) ? 0 : 1 + pick(m_shape.sampleRate / 25);
    const RenderModel::Sound expected = m_model->render(frames, session.clock.ms, wall.ms);
    const Rendered got = render(frames);
    EXPECT_EQ(got.status, noErr);
    EXPECT_EQ(got.silent(), expected.silent);
    EXPECT_EQ(got.byteSize, expected.bytes.size());
    EXPECT_EQ(got.channels, m_shape.channels);
    EXPECT_TRUE(got.guardsIntact);
    EXPECT_EQ(got.allocations, 0U);
    EXPECT_TRUE(got.bytes == expected.bytes) << "the samples differ";
  }

  void step() {
    const std::uint32_t die = pick(100);
    if (die < 25) {
      deliver();
    } else if (die < 45) {
      if (chance(60)) {
        m_model->ready();
        EXPECT_EQ(m_model->isReady(), ready());
      }
      gate.step();
      m_model->feed(m_waiting, session.clock.ms);
    } else if (die < 60) {
      moveClock();
    } else if (die < 93) {
      renderBoth();
    } else if (die < 96) {
      event(chance(50) ? Tavro::PortEvent::kFlush : Tavro::PortEvent::kFlushAgain);
      m_model->flush();
    } else if (die < 97) {
      event(Tavro::PortEvent::kStart);
      m_model->start();
    } else if (die < 98) {
      event(Tavro::PortEvent::kStop);
      m_model->stop();
    } else {
      applyShape();
    }
  }

  void compareRecords() {
    EXPECT_EQ(session.takeReports(), m_model->takeReports());
    EXPECT_EQ(released(), m_model->released().size());
    EXPECT_TRUE(std::ranges::all_of(m_model->released(),
                                    [](const auto* buffer) { return buffer->releases() == 1; }));
    EXPECT_EQ(upstream.waiting(), m_waiting.size());
    EXPECT_EQ(timeBase().currentTime(), m_model->currentTime(wall.ms));
  }

  /// Somewhere in the middle, about the wrap of the clock, or about 0, which is no ordinary stamp.
  void beginAt() {
    m_streamEnd = 100 + pick(2000);
    if (chance(10)) {
      m_streamEnd = 0xFFFFFF00U + pick(200);
    } else if (chance(20)) {
      m_streamEnd = 1 + pick(40);
    }
    session.clock.ms = m_streamEnd - pick(std::min(m_streamEnd, 50U));
  }

  void runSequence(unsigned seed) {
    m_random.seed(seed);
    m_shape = {};
    m_waiting.clear();
    m_model.emplace(77U);
    ASSERT_NO_FATAL_FAILURE(connect());
    ASSERT_NO_FATAL_FAILURE(applyShape());
    beginAt();
    for (unsigned i = 0; i < kSteps && !HasFailure(); ++i) {
      SCOPED_TRACE("seed " + std::to_string(seed) + ", step " + std::to_string(i));
      step();
      compareRecords();
    }
    end();
    journal.take();
  }

  std::mt19937 m_random;
  Shape m_shape{};
  std::optional<RenderModel> m_model;
  std::deque<FakeBuffer*> m_waiting;
  std::uint32_t m_streamEnd = 0;
};

TEST_P(RenderModelTest, theBundleDoesWhatTheModelDoes) {
  for (unsigned i = 0; i < kSequences && !HasFailure(); ++i) {
    runSequence(GetParam() * kSequences + i);
  }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RenderModelTest, testing::Range(1U, 13U));

}  // namespace
