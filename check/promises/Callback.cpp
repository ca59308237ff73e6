// SPDX-License-Identifier: MIT

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "check/promises/Promise.h"

// What the render thread may do: a callback that waits for memory or for a long lock is heard. All
// of it is seen from outside, by the calls of heap and mutexes that it makes.

namespace Check {
namespace {

/// Calls of every kind: nothing queued, early, played, continued, finished, dropped, dry.
std::vector<Rendered> callsOfEveryKind(Bench& bench) {
  std::vector<Rendered> calls;
  bench.requireWatch();
  bench.build();
  calls.push_back(bench.render(480));
  bench.upstream.addTens(12, 1000);
  bench.feed();
  for (const std::uint32_t now : {900U, 1000U, 1005U, 1010U, 1010U}) {
    bench.setGraphTime(now);
    calls.push_back(bench.render(300));
  }
  calls.push_back(bench.render(300, 0));
  bench.setGraphTime(1075);
  for (int i = 0; i < 10; ++i) {
    calls.push_back(bench.render(480));
    bench.feed();
  }
  return calls;
}

void leavesTheHeapAlone(Bench& bench) {
  for (const Rendered& call : callsOfEveryKind(bench)) {
    bench.expectEqual("allocations of a call", call.section.allocations, 0U);
    bench.expectEqual("blocks freed by a call", call.section.frees, 0U);
  }
}

void takesFewLocks(Bench& bench) {
  std::set<const void*> mutexes;
  for (const Rendered& call : callsOfEveryKind(bench)) {
    mutexes.insert(call.section.mutexes.begin(), call.section.mutexes.end());
    bench.expect(call.section.mostHeld <= 1, "one lock at a time",
                 fmt::format("{} at once", call.section.mostHeld));
    bench.expectEqual("nanoseconds slept in a call", call.sleptNs, 0U);
  }
  bench.expect(mutexes.size() <= 2, "at most two locks, that of the queue and that of the counters",
               fmt::format("{}", mutexes.size()));
}

/// Session, clock and buffers may take locks of their own, and the bytes are copied between
/// lockData() and unlockData().
void callsTheHostWithoutLocks(Bench& bench) {
  bench.requireWatch();
  bench.build();
  bench.setGraphTime(1000);
  const auto expectFree = [&](const char* what) {
    bench.expectEqual(std::string("locks held ") + what, Watch::heldMutexes(), std::size_t{0});
  };
  for (unsigned i = 0; i < 3; ++i) {
    RecordedBuffer& buffer = bench.queue(1920, 1000 + i * 10, 10);
    buffer.onLock = [&] { expectFree("in lockData()"); };
    buffer.onUnlock = [&] { expectFree("in unlockData()"); };
    buffer.onRelease = [&] { expectFree("in release()"); };
  }
  bench.session.onReport = [&](const Report&) { expectFree("at a report"); };
  bench.session.clock.onRead = [&] { expectFree("as the graph clock is read"); };
  bench.render(700);
  bench.render(400);
  bench.setGraphTime(5000);
  bench.render(0x100, 0);
  bench.render(480);
  bench.letFeederRun();
}

void keepsItsLocksFreeOfAllocations(Bench& bench) {
  std::set<const void*> mutexes;
  for (const Rendered& call : callsOfEveryKind(bench)) {
    mutexes.insert(call.section.mutexes.begin(), call.section.mutexes.end());
  }
  bench.start();
  bench.upstream.addTens(30, 2000);
  for (int i = 0; i < 5; ++i) {
    bench.feed();
    bench.event(Tavro::PortEvent::kFlush);
    bench.timeBase().currentTime();
  }
  bench.write(44100, 2, 16);
  bench.event(Tavro::PortEvent::kDisconnect);
  bench.expect(std::ranges::none_of(mutexes, Watch::hasAllocatedUnder),
               "no thread allocates while it holds a lock that the callback takes", "one does");
}

}  // namespace

std::vector<Promise> callbackPromises() {
  const char* subject = "callback";
  return {
      {"callback-heap", subject, "A render call allocates and frees nothing.", leavesTheHeapAlone},
      {"callback-locks", subject,
       "A render call takes at most two locks, one at a time, and does not sleep.", takesFewLocks},
      {"callback-host", subject,
       "A render call holds no lock while it calls session, clock and buffers, nor during the "
       "copy.",
       callsTheHostWithoutLocks},
      {"callback-memory-of-others", subject,
       "No thread allocates under a lock that a render call may wait for.",
       keepsItsLocksFreeOfAllocations},
  };
}

}  // namespace Check
