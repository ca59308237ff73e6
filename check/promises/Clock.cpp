// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include "check/promises/Promise.h"

namespace Check {
namespace {

namespace Script = AudioDevices::Script;

void countsBytes(Bench& bench) {
  bench.connect();
  bench.timeBase().currentTime();  // any value, without a division by the rate
  bench.require(bench.write(48000, 2, 16), "the property write returns true", "false");
  bench.start();
  bench.setGraphTime(1000);
  bench.upstream.addTens(2, 1000);
  bench.feed();
  for (unsigned i = 0; i < 10; ++i) {
    bench.render(480);  // sound, then silence: both count
  }
  const auto expectTime = [&](const char* what, std::uint32_t wanted) {
    bench.expectEqual(std::string("time of the time base ") + what, bench.timeBase().currentTime(),
                      wanted);
  };
  expectTime("after 100 ms of sound", 100);
  bench.advance(12);
  expectTime("12 ms after the last call", 112);
  bench.event(Tavro::PortEvent::kStop);
  bench.advance(500);
  expectTime("after a stop", 100);
  bench.start();
  bench.render(480);
  bench.advance(5);
  expectTime("after another call", 115);
  bench.event(Tavro::PortEvent::kFlush);
  expectTime("after a flush", 110);
  bench.write(48000, 1, 16);
  expectTime("at half the bytes per second", 220);
}

void countsFloats(Bench& bench) {
  bench.build(Tavro::FormatCode::kFloat, 48000, 2, 16);
  bench.render(480);
  bench.expectEqual("time of the time base after 10 ms of floats", bench.timeBase().currentTime(),
                    10U);
}

void wraps(Bench& bench) {
  bench.build(Tavro::FormatCode::kInteger, 8000, 1, 8);
  for (std::uint64_t calls = 1; calls <= 9; ++calls) {
    bench.render(0xFFFFFFFF, 16);
    bench.expectEqual("time of the time base", bench.timeBase().currentTime(),
                      static_cast<std::uint32_t>(calls * 0xFFFFFFFFU / 8));
  }
}

void saysWhetherItRuns(Bench& bench) {
  const auto expectRunning = [&](const char* when, bool wanted) {
    bench.expectEqual(std::string("running ") + when, bench.timeBase().isRunning(), wanted);
  };
  bench.connect();
  bench.expectEqual("the priority", bench.timeBase().timeBasePriority(), 100U);
  expectRunning("before a build", false);
  bench.require(bench.write(48000, 2, 16), "the property write returns true", "false");
  expectRunning("before the start", false);
  bench.start();
  expectRunning("after the start", true);
  Script::failCall("AUGraphIsRunning", 1, -1);
  expectRunning("when the platform cannot say", false);
  bench.event(Tavro::PortEvent::kStop);
  expectRunning("after the stop", false);
  bench.start();
  bench.event(Tavro::PortEvent::kDisconnect);
  expectRunning("after the disconnect", false);
}

/// A call during the stop counts, but time does not run on from it.
void endsWithTheStop(Bench& bench) {
  bench.build();
  bench.start();
  bench.render(96);
  bench.advance(500);
  std::uint32_t during = 0;
  Script::onCall("AUGraphStop", [&] {
    during = bench.timeBase().currentTime();
    bench.render(48);
  });
  bench.event(Tavro::PortEvent::kStop);
  bench.advance(500);
  bench.expectEqual("time of the time base during the stop", during, 2U);
  bench.expectEqual("time after a call during the stop", bench.timeBase().currentTime(), 3U);
}

void readsTimeFirst(Bench& bench) {
  bench.build();
  bench.setGraphTime(1000);
  bench.upstream.addTens(2, 1000);
  bench.feed();
  bench.event(Tavro::PortEvent::kStop);  // so that nothing else happens meanwhile
  bench.session.onReport = [&](const Report&) { bench.advance(50); };
  bench.render(480);  // two reports
  bench.session.onReport = nullptr;
  bench.expectEqual("time of the time base, with a call that took 100 ms",
                    bench.timeBase().currentTime(), 110U);
}

}  // namespace

std::vector<Promise> clockPromises() {
  const char* subject = "time-base";
  return {
      {"playback-time", subject,
       "The time base counts bytes, and host time since the last call until a stop, flush or "
       "rebuild.",
       countsBytes},
      {"playback-time-of-floats", subject, "The time base counts 4 bytes for a float sample.",
       countsFloats},
      {"playback-time-wraps", subject, "The time base is exact in 64 bits and wraps at 32 bits.",
       wraps},
      {"running", subject, "The time base runs while the graph runs, and its priority is 100.",
       saysWhetherItRuns},
      {"time-at-stop", subject,
       "The time base stops before the graph does, also if a last call comes.", endsWithTheStop},
      {"time-of-a-call", subject, "A call counts from the host time at its beginning.",
       readsTimeFirst},
  };
}

}  // namespace Check
