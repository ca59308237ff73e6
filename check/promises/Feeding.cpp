// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <utility>

#include "check/promises/Promise.h"

namespace Check {
namespace {

using Tavro::_Variant;

/// The calls that an event makes, if it reaches the platform.
void handlesEvents(Bench& bench) {
  const std::vector<std::pair<std::uint32_t, Lines>> callsOf = {
      {0x30060000, {}},  // unknown
      {Tavro::PortEvent::kStart, {"AUGraphStart"}},
      {Tavro::PortEvent::kFlush, {"AudioUnitReset"}},
      {Tavro::PortEvent::kFlushAgain, {"AudioUnitReset"}},
      {Tavro::PortEvent::kStop, {"AUGraphStop"}},
      {Tavro::PortEvent::kDisconnect, {"AUGraphClose", "DisposeAUGraph"}},
      {Tavro::PortEvent::kDisconnect, {}}};
  bench.connect();
  bench.platform.takeCalls();
  for (const auto& [id, calls] : callsOf) {
    bench.expectEqual(fmt::format("event {:#x} without an output", id), bench.event(id), true);
  }
  bench.expectEqual("platform calls without an output", bench.platform.takeCalls(), Lines{});
  bench.end();
  bench.build();
  bench.platform.takeCalls();
  for (const auto& [id, calls] : callsOf) {
    bench.expectEqual(fmt::format("event {:#x}", id), bench.event(id), true);
    bench.expectEqual(fmt::format("platform calls of event {:#x}", id), bench.platform.takeCalls(),
                      calls);
  }
}

void checksReadiness(Bench& bench) {
  bench.connect();
  bench.upstream.addTens(3, 1000);
  bench.expectEqual("ready without buffers", bench.ready(), false);
  bench.letFeederRun();
  bench.expectEqual("ready with three buffers but without an output", bench.ready(), false);
  bench.expectEqual("an unknown check", bench.port->checkEvent(0x40000003, nullptr), true);
  bench.end();
  bench.upstream.forget();
  bench.build();
  bench.upstream.addTens(2, 1000);
  bench.feed();
  bench.expectEqual("ready with two buffers", bench.ready(), false);
  bench.upstream.addTens(1, 1020);
  bench.feed();
  bench.expectEqual("ready with three buffers", bench.ready(), true);
  bench.event(Tavro::PortEvent::kStart);
  bench.expectEqual("ready while it runs", bench.ready(), true);
}

/// The queries that upstream gets in `ms` of host time.
unsigned queriesIn(Bench& bench, std::uint64_t ms) {
  const unsigned before = bench.upstream.queries();
  bench.advance(ms);
  return bench.upstream.queries() - before;
}

void pullsOnlyWhilePlaying(Bench& bench) {
  bench.connect();
  bench.upstream.addTens(6, 1000);
  bench.start();  // there is no output to start
  bench.expectEqual("queries before the first ready check", queriesIn(bench, 50), 0U);
  bench.ready();
  bench.advance(20);
  bench.expectEqual("buffers that wait after a ready check", bench.upstream.waiting(),
                    std::size_t{0});
  bench.event(Tavro::PortEvent::kFlush);
  bench.expectEqual("queries after a flush", queriesIn(bench, 50), 0U);
  bench.end();
  bench.upstream.forget();
  bench.build();
  bench.expectEqual("queries after the property write", queriesIn(bench, 50), 0U);
  bench.start();
  bench.upstream.addTens(2, 1000);
  bench.letFeederRun();
  bench.expectEqual("buffers that wait after the start event", bench.upstream.waiting(),
                    std::size_t{0});
  bench.event(Tavro::PortEvent::kStop);
  bench.advance(20);
  bench.expectEqual("queries after a stop", queriesIn(bench, 50), 0U);
}

void queuesTen(Bench& bench) {
  bench.build();
  bench.upstream.addTens(14, 1000);
  bench.feed();
  bench.expectEqual("buffers taken", bench.upstream.delivered(), 10U);
  bench.expectEqual("queries with ten buffers queued", queriesIn(bench, 50), 0U);
  bench.setGraphTime(1000);
  bench.render(480);  // one buffer
  bench.letFeederRun();
  bench.expectEqual("buffers taken after one was played", bench.upstream.delivered(), 11U);
}

void asksTwice(Bench& bench) {
  bench.build();
  bench.ready();
  bench.advance(20);
  bench.expectEqual("queries in 100 ms of an upstream without buffers", queriesIn(bench, 100), 20U);
  bench.upstream.refuse(1);
  bench.upstream.addTens(1, 1000);
  bench.advance(10);
  bench.expectEqual("buffers taken if only the first query of a pair finds none",
                    bench.upstream.delivered(), 1U);
  bench.expectNoMisuse();
}

void reconnects(Bench& bench) {
  bench.build();
  bench.queue(400, 1000, 10);
  bench.platform.takeCalls();
  bench.expectEqual("a connect event without a peer", bench.connectPeer(nullptr), true);
  bench.expectEqual("its platform calls", bench.platform.takeCalls(),
                    Lines{"AUGraphClose", "DisposeAUGraph"});
  bench.expectEqual("buffers released by it", bench.upstream.released(), 1U);
  const unsigned queries = bench.upstream.queries();
  bench.feed();
  ScriptedUpstream other;
  _Variant value = objectValue(static_cast<Tavro::PortInterface*>(&other));
  value.type = 0;  // the type does not matter
  bench.step("connect another peer");
  bench.expectEqual("a connect event", bench.port->sendEvent(Tavro::PortEvent::kConnect, &value),
                    true);
  bench.feed();
  bench.expect(other.queries() > 0, "the new peer is asked", "it is not");
  bench.expectEqual("queries of the former peer", bench.upstream.queries(), queries);
  bench.event(Tavro::PortEvent::kDisconnect);
  const unsigned last = other.queries();
  bench.feed();
  bench.expectEqual("queries after the disconnect event", other.queries(), last);
}

void dropsLateBuffers(Bench& bench) {
  bench.build();
  bench.setGraphTime(5000);
  RecordedBuffer& late = bench.upstream.add(400, 4900, 99);
  RecordedBuffer& last = bench.upstream.add(400, 4900, 100);
  RecordedBuffer& zero = bench.upstream.add(400, 0, 20);
  bench.feed();
  for (RecordedBuffer* dropped : {&late, &zero}) {
    const Bench::Case stamped(bench, fmt::format("the buffer stamped {}", dropped->timeStamp));
    bench.expectEqual("releases of a buffer that ended before the present", dropped->releases(),
                      1U);
    bench.expectEqual("its locks", dropped->locks(), 0U);
  }
  bench.expectEqual("releases of a buffer that ends now", last.releases(), 0U);
  const auto reports = bench.session.takeReports();
  bench.expect(reports == std::vector<Report>{{kStreamId, Tavro::BufferState::kDroppedLate, &late},
                                              {kStreamId, Tavro::BufferState::kDroppedLate, &zero}},
               "both late ones are reported as dropped",
               fmt::format("{} reports, or others", reports.size()));
}

}  // namespace

std::vector<Promise> feedingPromises() {
  const char* subject = "feeding";
  return {
      {"events", subject,
       "Start, stop, flush and disconnect reach a built output; unknown events are accepted.",
       handlesEvents},
      {"ready-check", subject,
       "The ready check returns true with three buffers queued and an output to play them.",
       checksReadiness},
      {"feeding", subject,
       "Upstream is asked from the ready check or start on, until a stop or flush.",
       pullsOnlyWhilePlaying},
      {"queue-limit", subject, "At most ten buffers are queued.", queuesTen},
      {"polling", subject, "An upstream without a buffer is asked twice every 10 ms.", asksTwice},
      {"reconnection", subject,
       "Connect and disconnect end the output, empty the queue and leave the former peer.",
       reconnects},
      {"late-before-queue", subject,
       "A buffer that ended before the graph time is reported as dropped and not queued.",
       dropsLateBuffers},
  };
}

}  // namespace Check
