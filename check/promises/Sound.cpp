// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <map>
#include <string>

#include "check/promises/Promise.h"

// The render callback, call by call: stereo in 16 bits at 48 kHz, so 4 bytes a frame and 48 frames
// a millisecond.

namespace Check {
namespace {

using Tavro::BufferState::kDroppedLate;
using Tavro::BufferState::kPlayed;
using Tavro::BufferState::kPlaying;

void expectSilence(Bench& bench, const Rendered& call, std::size_t bytes) {
  bench.expectEqual("status of the call", call.status, OSStatus{noErr});
  bench.expectEqual("the silence flag", call.isSilent(), true);
  bench.expectEqual("bytes of the call", std::size_t{call.byteSize}, bytes);
  bench.expect(isZero(slice(call.bytes, 0, bytes)), "only zeros", "other bytes");
}

void expectSound(Bench& bench, const Rendered& call, const Bytes& wanted) {
  bench.expectEqual("status of the call", call.status, OSStatus{noErr});
  bench.expectEqual("the silence flag", call.isSilent(), false);
  bench.expectEqual("bytes of the call", std::size_t{call.byteSize}, wanted.size());
  bench.expectBytes("the bytes of the buffers", slice(call.bytes, 0, call.byteSize), wanted);
}

Bytes joined(const Bytes& first, const Bytes& second) {
  Bytes both = first;
  both.insert(both.end(), second.begin(), second.end());
  return both;
}

std::string reportsInWords(const std::vector<Report>& reports) {
  std::string text;
  for (const Report& report : reports) {
    text += fmt::format("{}state {} of the one stamped {}", text.empty() ? "" : ", ", report.state,
                        report.buffer->timeStamp);
  }
  return text.empty() ? "none" : text;
}

void expectReports(Bench& bench, const std::vector<Report>& wanted) {
  const std::vector<Report> reports = bench.session.takeReports();
  bench.expect(reports == wanted, "reports: " + reportsInWords(wanted), reportsInWords(reports));
}

void waits(Bench& bench) {
  bench.build();
  bench.setGraphTime(990);
  RecordedBuffer& early = bench.queue(1920, 1000, 10);
  for (const std::uint32_t now : {990U, 999U}) {
    bench.setGraphTime(now);
    expectSilence(bench, bench.render(480), 1920);
    bench.expectEqual("releases of the early buffer", early.releases(), 0U);
  }
  expectReports(bench, {});
  bench.setGraphTime(1000);
  expectSound(bench, bench.render(480), early.content());
}

void playsBackToBack(Bench& bench) {
  bench.build();
  RecordedBuffer& first = bench.queue(1920, 1000, 10);
  RecordedBuffer& close = bench.queue(1920, 1020, 10);    // 10 ms later than it could be
  RecordedBuffer& overlap = bench.queue(1920, 1025, 10);  // before the former ends
  bench.setGraphTime(1000);
  expectSound(bench, bench.render(960), joined(first.content(), close.content()));
  bench.setGraphTime(9000);  // is not consulted any more
  expectSound(bench, bench.render(480), overlap.content());
}

void waitsAfterAGap(Bench& bench) {
  bench.build();
  RecordedBuffer& first = bench.queue(1920, 1000, 10);
  RecordedBuffer& far = bench.queue(1920, 1021, 10);
  bench.setGraphTime(1000);
  expectSilence(bench, bench.render(960), 3840);  // also instead of the first buffer's bytes
  bench.expectEqual("releases of the buffer that ended before the gap", first.releases(), 1U);
  bench.expectEqual("releases of the buffer behind the gap", far.releases(), 0U);
  bench.setGraphTime(1011);
  expectSilence(bench, bench.render(480), 1920);
  bench.setGraphTime(1021);
  expectSound(bench, bench.render(480), far.content());
}

void dropsWhatIsLate(Bench& bench) {
  bench.build();
  RecordedBuffer& late = bench.queue(4000, 1000, 100);
  RecordedBuffer& next = bench.queue(1920, 1101, 10);
  bench.setGraphTime(1101);
  expectSound(bench, bench.render(480), next.content());
  bench.expectEqual("locks of the late buffer", late.locks(), 0U);
  bench.expectEqual("releases of the late buffer", late.releases(), 1U);
  expectReports(bench, {{kStreamId, kDroppedLate, &late},
                        {kStreamId, kPlaying, &next},
                        {kStreamId, kPlayed, &next}});
  bench.event(Tavro::PortEvent::kFlush);
  bench.setGraphTime(2000);
  bench.queue(400, 2000, 10);
  bench.setGraphTime(3000);
  expectSilence(bench, bench.render(480), 1920);  // nothing is left
  bench.setGraphTime(2000);
  RecordedBuffer& atTheEnd = bench.queue(4000, 2000, 50);
  bench.setGraphTime(2050);
  expectSound(bench, bench.render(1000), atTheEnd.content());  // ends now, so it is not late
}

void entersLate(Bench& bench) {
  bench.build();
  RecordedBuffer& buffer = bench.queue(4000, 1000, 100);
  bench.setGraphTime(1050);
  expectSound(bench, bench.render(500), slice(buffer.content(), 2000, 4000));
  expectReports(bench, {{kStreamId, kPlaying, &buffer}, {kStreamId, kPlayed, &buffer}});
  bench.event(Tavro::PortEvent::kFlush);
  bench.setGraphTime(2000);
  RecordedBuffer& odd = bench.queue(4000, 2000, 30);  // to frame 1000 * 7 / 30, byte 932
  bench.setGraphTime(2007);
  expectSound(bench, bench.render(767), slice(odd.content(), 932, 4000));
  bench.event(Tavro::PortEvent::kFlush);
  bench.setGraphTime(3000);
  RecordedBuffer& halfPlayed = bench.queue(4000, 3000, 100);
  bench.queue(1920, 3100, 10);
  bench.render(400);         // to byte 1600, which is at 3040 ms
  bench.render(400, 0);      // out of sync, as there is no room
  bench.setGraphTime(3070);  // 600 frames * 30 / 60
  expectSound(bench, bench.render(300), slice(halfPlayed.content(), 2800, 4000));
}

void treatsZeroAsNow(Bench& bench) {
  bench.build();
  RecordedBuffer& unstamped = bench.queue(4000, 0, 100);
  bench.setGraphTime(50);
  expectSound(bench, bench.render(1000), unstamped.content());
  bench.event(Tavro::PortEvent::kFlush);
  bench.setGraphTime(0);
  RecordedBuffer& another = bench.queue(4000, 0, 100);
  bench.setGraphTime(100000);
  expectSound(bench, bench.render(1000), another.content());
}

void fillsUpWithSilence(Bench& bench) {
  bench.build();
  bench.setGraphTime(1000);
  const Rendered empty = bench.render(480);
  expectSilence(bench, empty, 1920);
  bench.expectEqual("channels of a silent call", empty.channels, UInt32{2});
  RecordedBuffer& buffer = bench.queue(1000, 1000, 5);
  const Rendered dry = bench.render(512);
  expectSound(bench, dry, joined(buffer.content(), Bytes(2048 - 1000, 0)));
  bench.expectEqual("channels of a call", dry.channels, UInt32{2});
  expectSilence(bench, bench.render(480), 1920);
  RecordedBuffer& inTime = bench.queue(1920, 1010, 10);  // still synced: it follows on
  expectSound(bench, bench.render(480), inTime.content());
}

void staysWithinItsMemory(Bench& bench) {
  bench.build();
  bench.setGraphTime(1000);
  const auto expectSilenceWithin = [&](UInt32 capacity) {
    const Bench::Case room(bench, fmt::format("room for {} of 200 bytes", capacity));
    const Rendered call = bench.render(50, capacity);
    bench.expectEqual("status of the call", call.status, OSStatus{noErr});
    bench.expectEqual("the silence flag", call.isSilent(), true);
    bench.expect(call.staysWithinMemory, "nothing is written beyond the capacity", "it is");
    bench.expect(isZero(call.bytes), "only zeros", "other bytes");
  };
  expectSilenceWithin(100);  // with an empty queue too
  RecordedBuffer& first = bench.queue(200, 1000, 10);
  expectSound(bench, bench.render(50), first.content());
  RecordedBuffer& early = bench.queue(200, 1015, 10);  // would follow on, were it synced
  for (const UInt32 capacity : {199U, 0U, 1U, 200U}) {
    expectSilenceWithin(capacity);
  }
  bench.setGraphTime(1015);
  expectSound(bench, bench.render(50), early.content());
  RecordedBuffer& large = bench.queue(1000, 1025, 10);
  const Rendered call = bench.render(100, 600);
  bench.expectEqual("bytes of a call with room for more", call.byteSize, UInt32{400});
  bench.expectBytes("the request", slice(call.bytes, 0, 400), slice(large.content(), 0, 400));
  bench.expectBytes("nothing behind the request", slice(call.bytes, 400, 600),
                    Bytes(200, kUnwritten));
}

void readsTheClockOnce(Bench& bench) {
  bench.build();
  bench.setGraphTime(1000);
  for (unsigned i = 0; i < 4; ++i) {
    bench.queue(100, 1000 + i * 10, 10);
  }
  bench.session.onReport = [&](const Report&) { bench.session.clock.ms += 500; };
  bench.session.clock.reads = 0;
  const Rendered call = bench.render(60);  // two buffers and part of the third
  bench.expectEqual("reads of the graph clock in a call", bench.session.clock.reads.load(), 1U);
  bench.expectEqual("the silence flag", call.isSilent(), false);
}

void reportsEachBuffer(Bench& bench) {
  bench.build();
  bench.setGraphTime(1000);
  RecordedBuffer& first = bench.queue(1920, 1000, 10);
  RecordedBuffer& second = bench.queue(1920, 1010, 10);
  bench.render(240);
  expectReports(bench, {{kStreamId, kPlaying, &first}});
  bench.render(480);
  expectReports(bench, {{kStreamId, kPlaying, &first},
                        {kStreamId, kPlayed, &first},
                        {kStreamId, kPlaying, &second}});
  bench.session.onReport = [&](const Report& report) {
    bench.expectEqual("releases of a buffer before its report",
                      static_cast<const RecordedBuffer*>(report.buffer)->releases(), 0U);
  };
  bench.render(480);
  expectReports(bench, {{kStreamId, kPlaying, &second}, {kStreamId, kPlayed, &second}});
}

/// A long stretch with everything that happens to buffers; then the books are balanced.
void balancesItsBooks(Bench& bench) {
  bench.build();
  bench.start();
  for (unsigned i = 0; i < 200; ++i) {
    bench.upstream.add(1920, 1000 + i * 10 + (i % 17 == 0 ? 40 : 0), 10);
  }
  for (unsigned i = 0; bench.upstream.waiting() > 0 && i < 1000; ++i) {
    bench.feed();
    bench.setGraphTime(1000 + i * 12 + (i % 40 == 30 ? 150 : 0));
    bench.render(500);
  }
  for (unsigned i = 0; i < 20; ++i) {
    bench.setGraphTime(20000);
    bench.render(1920);
  }
  std::map<const Tavro::MediaBuffer*, std::uint32_t> ended;
  for (const Report& report : bench.session.takeReports()) {
    std::uint32_t& state = ended[report.buffer];
    bench.expect(
        state == 0, "nothing is reported of a buffer that has ended",
        fmt::format("state {} of the one stamped {}", report.state, report.buffer->timeStamp));
    state = report.state == kPlaying ? 0 : report.state;
  }
  for (const RecordedBuffer* buffer : bench.upstream.buffers()) {
    const std::uint32_t state = ended[buffer];
    bench.expect(
        state == kPlayed || state == kDroppedLate,
        fmt::format("the buffer stamped {} is reported as played or dropped", buffer->timeStamp),
        fmt::format("state {}", state));
    bench.expect(state != kDroppedLate || buffer->locks() == 0, "a dropped buffer is not read",
                 fmt::format("the one stamped {} is", buffer->timeStamp));
  }
}

/// References, whichever way buffers leave: played, dropped here or there, flushed, torn down.
void returnsEachReference(Bench& bench) {
  bench.build();
  bench.setGraphTime(1000);
  bench.upstream.addTens(12, 1000);
  bench.upstream.add(1920, 10, 10);  // late
  bench.feed();
  bench.render(480);
  bench.render(240);
  bench.expectNoMisuse();
  bench.setGraphTime(1500);
  bench.render(480, 0);  // out of sync
  bench.render(480);     // all that is queued is late
  bench.feed();
  bench.upstream.addTens(5, 2000);
  bench.feed();
  bench.event(Tavro::PortEvent::kFlush);
  bench.expectReferencesReturned();
  bench.upstream.addTens(3, 2000);
  bench.feed();
  bench.write(44100, 2, 16);
  bench.upstream.addTens(3, 2000);
  bench.feed();
  bench.event(Tavro::PortEvent::kDisconnect);
  bench.expectReferencesReturned();
  bench.expectNoMisuse();
}

void passesEmptyBuffers(Bench& bench) {
  bench.build();
  bench.setGraphTime(1000);
  RecordedBuffer& empty = bench.queue(0, 1000, 0);
  RecordedBuffer& next = bench.queue(1920, 1000, 10);
  for (int i = 0; i < 3 && next.releases() == 0; ++i) {
    bench.render(480);
  }
  bench.expectEqual("releases of a buffer without bytes", empty.releases(), 1U);
  bench.expectEqual("releases of the buffer behind it", next.releases(), 1U);
}

}  // namespace

std::vector<Promise> soundPromises() {
  const char* subject = "sound";
  return {
      {"early-buffers-wait", subject,
       "A buffer waits behind silence until the graph clock reaches its time stamp.", waits},
      {"in-step", subject,
       "Buffers that start at most 10 ms after the end of the one before play back to back.",
       playsBackToBack},
      {"gap", subject,
       "A gap of more than 10 ms turns the whole call into silence; then the clock counts again.",
       waitsAfterAGap},
      {"late-buffers-drop", subject,
       "A buffer that ended before the graph time is dropped, reported and not read.",
       dropsWhatIsLate},
      {"late-entry", subject,
       "A buffer that is partly late is entered at the clock's position, in whole frames.",
       entersLate},
      {"stamp-zero", subject, "A queued buffer with time stamp 0 is neither dropped nor entered.",
       treatsZeroAsNow},
      {"silence", subject,
       "A call with nothing to play is zeros, flagged as silence; one that runs dry ends in zeros.",
       fillsUpWithSilence},
      {"memory", subject,
       "A call writes no more than its memory holds and no more than was requested.",
       staysWithinItsMemory},
      {"one-clock-reading", subject, "A call reads the graph clock once.", readsTheClockOnce},
      {"reports", subject,
       "A buffer is reported as playing before each copy and as played before its release.",
       reportsEachBuffer},
      {"balance", subject, "Every buffer that is not flushed ends as played or dropped, once.",
       balancesItsBooks},
      {"references", subject, "Every buffer's reference is returned exactly once.",
       returnsEachReference},
      {"empty-buffers", subject, "A buffer without bytes does not hold up the next one.",
       passesEmptyBuffers},
  };
}

}  // namespace Check
