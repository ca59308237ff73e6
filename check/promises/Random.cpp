// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <algorithm>
#include <deque>
#include <random>

#include "check/model/RenderModel.h"
#include "check/promises/Promise.h"

namespace Check {
namespace {

constexpr unsigned kSequences = 500;
constexpr unsigned kSteps = 60;

/// One random sequence of everything that can happen to buffers, step by step, the bundle beside
/// the model.
class Sequence {
 public:
  Sequence(Bench& bench, unsigned seed) : m_bench(bench), m_random(seed) {}

  void run() {
    m_bench.connect();
    applyShape();
    beginAt();
    for (unsigned i = 0; i < kSteps && m_bench.all().empty(); ++i) {
      const Bench::Case numbered(m_bench, fmt::format("step {}", i));
      takeStep();
      compare();
    }
  }

 private:
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
    m_bench.require(m_bench.write(m_shape.sampleRate, m_shape.channels, m_shape.bytesPerSample * 8),
                    "the property write returns true", "false");
    m_model.rebuild(m_shape);
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
      const std::uint32_t ideal = m_shape.sampleRate / 1000 * duration * m_shape.frameBytes();
      const std::uint32_t size = chance(80) && ideal != 0 ? ideal : 1 + pick(3000);
      m_waiting.push_back(&m_bench.upstream.add(size, stamp, duration));
      if (stamp != 0) {
        m_streamEnd = stamp + duration;
      }
    }
  }

  void feed() {
    if (chance(60)) {
      m_model.ready();
      m_bench.expectEqual("ready", m_bench.ready(), m_model.isReady());
    }
    m_bench.step("let the feeder run");
    m_bench.letFeederRun();
    m_model.feed(m_waiting, now());
  }

  void moveClock() {
    if (chance(85)) {
      m_bench.setGraphTime(now() + pick(25));
    } else if (chance(50)) {
      m_bench.setGraphTime(m_streamEnd - pick(80) + 20);
    } else {
      m_bench.setGraphTime(now() + pick(500) - 100);
    }
  }

  void render() {
    const std::uint32_t frames = chance(3) ? 0 : 1 + pick(m_shape.sampleRate / 25);
    const RenderModel::Sound wanted = m_model.render(frames, now(), m_bench.hostMs());
    const Rendered got = m_bench.render(frames);
    m_bench.expectEqual("status of the call", got.status, OSStatus{noErr});
    m_bench.expectEqual("the silence flag", got.isSilent(), wanted.silent);
    m_bench.expectEqual("channels of the call", got.channels, m_shape.channels);
    m_bench.expect(got.staysWithinMemory, "nothing is written beyond the memory", "it is");
    m_bench.expectBytes("the model's bytes", slice(got.bytes, 0, got.byteSize), wanted.bytes);
  }

  void takeStep() {
    const std::uint32_t die = pick(100);
    if (die < 25) {
      deliver();
    } else if (die < 45) {
      feed();
    } else if (die < 60) {
      moveClock();
    } else if (die < 93) {
      render();
    } else if (die < 96) {
      m_bench.event(chance(50) ? Tavro::PortEvent::kFlush : Tavro::PortEvent::kFlushAgain);
      m_model.flush();
    } else if (die < 97) {
      m_bench.event(Tavro::PortEvent::kStart);
      m_model.start();
    } else if (die < 98) {
      m_bench.event(Tavro::PortEvent::kStop);
      m_model.stop();
    } else {
      applyShape();
    }
  }

  void compare() {
    m_bench.expect(m_bench.session.takeReports() == m_model.takeReports(), "the model's reports",
                   "others");
    m_bench.expectEqual("buffers released", std::size_t{m_bench.upstream.released()},
                        m_model.released().size());
    m_bench.expectEqual("buffers that wait upstream", m_bench.upstream.waiting(), m_waiting.size());
    m_bench.expectEqual("time of the time base", m_bench.timeBase().currentTime(),
                        m_model.currentTime(m_bench.hostMs()));
  }

  std::uint32_t now() const { return m_bench.session.clock.ms; }

  /// Somewhere in the middle, about the wrap of the clock, or about 0, which is no ordinary stamp.
  void beginAt() {
    m_streamEnd = 100 + pick(2000);
    if (chance(10)) {
      m_streamEnd = 0xFFFFFF00U + pick(200);
    } else if (chance(20)) {
      m_streamEnd = 1 + pick(40);
    }
    m_bench.setGraphTime(m_streamEnd - pick(std::min(m_streamEnd, 50U)));
  }

  Bench& m_bench;
  std::mt19937 m_random;
  Shape m_shape{};
  RenderModel m_model{kStreamId};
  std::deque<RecordedBuffer*> m_waiting;
  std::uint32_t m_streamEnd = 0;
};

void agreesWithTheModel(Bench& bench) {
  for (unsigned seed = 1; seed <= kSequences && bench.all().empty(); ++seed) {
    const Bench::Case seeded(bench, fmt::format("sequence {}", seed));
    Sequence(bench, seed).run();
    bench.end();
    bench.upstream.forget();
    bench.platform.forgetCalls();
    Journal::instance().take();
  }
}

}  // namespace

std::vector<Promise> randomPromises() {
  return {
      {"random-sequences", "sound",
       "In random sequences, readiness, sound, reports, references and time are those of a simple "
       "model.",
       agreesWithTheModel}};
}

}  // namespace Check
