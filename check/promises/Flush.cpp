// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <functional>
#include <thread>

#include "check/promises/Promise.h"

namespace Check {
namespace {

void empties(Bench& bench) {
  for (const std::uint32_t id : {Tavro::PortEvent::kFlush, Tavro::PortEvent::kFlushAgain}) {
    bench.build();
    bench.setGraphTime(1000);
    bench.upstream.addTens(4, 1000);
    bench.feed();
    bench.render(240);
    bench.platform.takeCalls();
    bench.expectEqual("the flush event", bench.event(id), true);
    bench.expectEqual("its platform calls", bench.platform.takeCalls(), Lines{"AudioUnitReset"});
    bench.expectReferencesReturned();
    bench.expectEqual("a call after the flush is flagged as silence", bench.render(240).isSilent(),
                      true);
    RecordedBuffer& early = bench.queue(1920, 1005, 10);  // would follow on, were it synced
    bench.expectEqual("an early buffer after the flush waits", bench.render(480).isSilent(), true);
    bench.setGraphTime(1005);
    bench.expectBytes("its bytes when its time has come", bench.render(480).bytes, early.content());
    bench.end();
    bench.upstream.forget();
  }
}

void emptiesWithoutOutput(Bench& bench) {
  bench.connect();
  bench.upstream.addTens(3, 1000);
  bench.feed();
  bench.expectEqual("the flush event", bench.event(Tavro::PortEvent::kFlush), true);
  bench.expectReferencesReturned();
  bench.expectEqual("buffers delivered", bench.upstream.delivered(), 3U);
}

/// A moment in a call of the render callback at which the host flushes.
struct Moment {
  const char* name;
  std::uint32_t graphTime;
  std::function<void(Bench&, RecordedBuffer& first, const std::function<void()>& flush)> arm;
};

void onReportOf(Bench& bench, std::uint32_t state, const std::function<void()>& flush) {
  bench.session.onReport = [state, flush](const Report& report) {
    if (report.state == state) {
      flush();
    }
  };
}

const std::array<Moment, 7>& moments() {
  static const std::array<Moment, 7> all = {{
      {"in lockData()", 1000,
       [](Bench&, RecordedBuffer& first, const auto& flush) { first.onLock = flush; }},
      {"in unlockData()", 1000,
       [](Bench&, RecordedBuffer& first, const auto& flush) { first.onUnlock = flush; }},
      {"in release()", 1000,
       [](Bench&, RecordedBuffer& first, const auto& flush) { first.onRelease = flush; }},
      {"at the report of playing", 1000,
       [](Bench& bench, RecordedBuffer&, const auto& flush) {
         onReportOf(bench, Tavro::BufferState::kPlaying, flush);
       }},
      {"at the report of played", 1000,
       [](Bench& bench, RecordedBuffer&, const auto& flush) {
         onReportOf(bench, Tavro::BufferState::kPlayed, flush);
       }},
      {"at the report of dropped", 1011,
       [](Bench& bench, RecordedBuffer&, const auto& flush) {
         onReportOf(bench, Tavro::BufferState::kDroppedLate, flush);
       }},
      {"as the graph clock is read", 1000,
       [](Bench& bench, RecordedBuffer&, const auto& flush) {
         bench.session.clock.onRead = flush;
       }},
  }};
  return all;
}

/// Flushes once at the moment, and queues a fresh buffer right away: whichever side releases a
/// buffer, it is released once, nothing of it is used afterwards, and the fresh one is not taken
/// for an old one. `frames`: the call leaves the first buffer unfinished, ends with it, or
/// continues.
void flushDuringCall(Bench& bench, const Moment& moment, bool otherThread, UInt32 frames) {
  const Bench::Case named(bench, fmt::format("flush {}{}, in a call of {} frames", moment.name,
                                             otherThread ? " on another thread" : "", frames));
  bench.build();
  bench.setGraphTime(1000);
  RecordedBuffer& first = bench.queue(400, 1000, 10);
  bench.queue(400, 1010, 10);
  bench.queue(400, 1020, 10);
  bench.setGraphTime(moment.graphTime);
  RecordedBuffer* fresh = nullptr;
  moment.arm(bench, first, [&] {
    if (fresh == nullptr) {
      fresh = &bench.upstream.add(400, 1015, 10);  // would follow on, were the sync not lost
      bench.flush(otherThread);
      bench.feed();
    }
  });
  const Rendered call = bench.render(frames);
  first.onLock = first.onUnlock = first.onRelease = nullptr;
  bench.expect(call.staysWithinMemory, "nothing is written beyond the memory", "it is");
  bench.expectEqual("bytes of the call", call.byteSize, frames * 4);
  bench.expect(std::ranges::find(call.bytes, kReleasedByte) == call.bytes.end(),
               "no bytes of a released buffer", "they were played");
  if (fresh != nullptr) {
    bench.setGraphTime(1010);
    bench.expectEqual("a call after the flush is flagged as silence", bench.render(100).isSilent(),
                      true);
    bench.expectEqual("releases of the fresh buffer", fresh->releases(), 0U);
    bench.setGraphTime(1015);
    bench.expectBytes("the fresh buffer's bytes", bench.render(100).bytes, fresh->content());
    bench.expectReferencesReturned();
  }
  bench.expectNoMisuse();
  bench.end();
  bench.upstream.forget();
}

void holdsDuringCalls(Bench& bench) {
  for (const Moment& moment : moments()) {
    for (const bool otherThread : {false, true}) {
      for (const UInt32 frames : {60U, 100U, 400U}) {
        flushDuringCall(bench, moment, otherThread, frames);
      }
    }
  }
}

/// The same while the feeder decides about a buffer: it must hold no lock meanwhile.
void holdsDuringFeeding(Bench& bench) {
  bench.build();
  bench.upstream.addTens(2, 1000);
  const auto flushElsewhere = [&] {
    bench.flush(true);
    std::thread([&] { bench.ready(); }).join();
  };
  bench.session.clock.onRead = flushElsewhere;
  bench.feed();
  bench.session.clock.onRead = nullptr;
  bench.setGraphTime(100000);
  RecordedBuffer& late = bench.upstream.add(4, 1000, 10);
  late.onRelease = flushElsewhere;
  bench.session.onReport = [&](const Report&) { flushElsewhere(); };
  bench.feed();
  late.onRelease = nullptr;
  bench.expectEqual("releases of a late buffer", late.releases(), 1U);
  bench.expectNoMisuse();
}

}  // namespace

std::vector<Promise> flushPromises() {
  const char* subject = "flush";
  return {
      {"flush", subject,
       "A flush resets the unit, returns every queued buffer and aligns with the clock again.",
       empties},
      {"flush-without-output", subject, "A flush empties the queue without an output too.",
       emptiesWithoutOutput},
      {"flush-during-call", subject,
       "A flush in the middle of a render call releases each buffer once and loses no fresh one.",
       holdsDuringCalls},
      {"flush-during-feeding", subject,
       "A flush is possible on another thread while the feeder reports or releases a buffer.",
       holdsDuringFeeding},
  };
}

}  // namespace Check
