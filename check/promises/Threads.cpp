// SPDX-License-Identifier: MIT

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "check/promises/Promise.h"
#include "time/HostTime.h"

// Several threads at a component at once. Nothing is recorded, so that the record orders no threads
// that the bundle leaves unordered; misuses and the references judge, and ThreadSanitizer if the
// bundle was built with it.

namespace Check {
namespace {

namespace Script = AudioDevices::Script;

using Clock = std::chrono::steady_clock;

/// Counts rounds, and ends early on a machine that is slow or busy.
class Rounds {
 public:
  explicit Rounds(unsigned most) : m_most(most) {}
  bool next() { return m_count++ < m_most && Clock::now() < m_end; }
  unsigned number() const { return m_count - 1; }

 private:
  const unsigned m_most;
  const Clock::time_point m_end = Clock::now() + std::chrono::seconds(3);
  unsigned m_count = 0;
};

void pause(unsigned microseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(microseconds));
}

void await(const std::function<bool()>& isMet) {
  while (!isMet()) {
    std::this_thread::yield();
  }
}

/// Threads that repeat something until the end of the scope.
class Meanwhile {
 public:
  ~Meanwhile() { end(); }

  void repeat(std::function<void()> work) {
    m_threads.emplace_back([this, work = std::move(work)] {
      Tavro::HostTime::useAnyProcessor();
      while (!m_done) {
        work();
        pause(1);  // the others' turn
      }
    });
  }

  void end() {
    m_done = true;
    for (std::thread& thread : m_threads) {
      thread.join();
    }
    m_threads.clear();
  }

 private:
  std::atomic<bool> m_done{false};
  std::vector<std::thread> m_threads;
};

/// A built output and buffers that last; from here on nothing is recorded.
void buildUnrecorded(Bench& bench, unsigned buffers) {
  bench.build();
  for (unsigned i = 0; i < buffers; ++i) {
    bench.upstream.add(240, 1000, 2000000000);
  }
  bench.setGraphTime(1000);
  Script::reset();
  Journal::instance().setRecording(false);
}

void readyAndPulled(Bench& bench) {
  await([&, before = bench.upstream.queries()] {
    bench.ready();
    return bench.upstream.queries() != before;
  });
}

void misuseIfReleasedBytes(const Bytes& played) {
  misuseIf(std::ranges::find(played, kReleasedByte) != played.end(), "released bytes are played");
}

void finish(Bench& bench) {
  Journal::instance().setRecording(true);
  bench.end();
  bench.expectReferencesReturned();
  bench.expectNothingRegistered();
  bench.expectNoMisuse();
}

/// What a host may do during playback, on several threads: flush, stop, start, write, announce a
/// volume, read the time base and the information.
void playsWhileTheHostWorks(Bench& bench) {
  buildUnrecorded(bench, 12000);
  // A session with one lock for all it does, and a clock that asks its time bases.
  std::recursive_mutex sessionLock;
  bench.session.onReport = [&](const Report&) { const std::lock_guard lock(sessionLock); };
  bench.session.clock.onRead = [&time = bench.timeBase()] { time.isRunning(); };
  bench.whileFeeding([&] {
    Meanwhile meanwhile;
    meanwhile.repeat([&] {
      const auto cycle = bench.platform.device().cycle(64);
      if (cycle.ran) {
        misuseIfReleasedBytes(cycle.buffers.at(0));
      }
    });
    meanwhile.repeat([&time = bench.timeBase()] {
      time.currentTime();
      time.isRunning();
    });
    meanwhile.repeat([&] {
      const std::lock_guard lock(sessionLock);
      bench.announceVolume({Tavro::VariantType::kUInt8, 100});
    });
    for (Rounds rounds(400); rounds.next();) {
      const unsigned i = rounds.number();
      bench.event(i % 4 < 2 ? Tavro::PortEvent::kFlush : Tavro::PortEvent::kFlushAgain);
      readyAndPulled(bench);
      if (i % 4 == 0) {
        bench.event(Tavro::PortEvent::kStop);
      } else if (i % 2 == 1) {
        misuseIf(!bench.write(48000, i % 4 == 1 ? 1 : 2, 16), "a property write is refused");
      }
      bench.start();
    }
  });
  finish(bench);
}

void flushesBursts(Bench& bench) {
  bench.platform.useDevice({.name = "digital",
                            .streams = {{.format = AudioDevices::pcmInteger(48000, 2, 16),
                                         .available = {AudioDevices::ac3Bursts(48000, 2)}}}});
  bench.connect();
  for (unsigned i = 0; i < 2000; ++i) {
    bench.upstream.add(kBurstBytes, 1000, 2000000000);
  }
  bench.setGraphTime(1000);
  Script::reset();
  Journal::instance().setRecording(false);
  bench.whileFeeding([&] {
    Meanwhile meanwhile;
    meanwhile.repeat([&] {
      const auto cycle = bench.platform.device().cycle(1536);
      if (cycle.ran) {
        misuseIfReleasedBytes(cycle.buffers.at(0));
      }
    });
    for (Rounds rounds(400); rounds.next();) {
      const unsigned i = rounds.number();
      if (i % 8 == 0) {
        const std::uint32_t mode =
            i % 16 == 0 ? Tavro::PortQuery::kConfigurePassthrough : Tavro::PortQuery::kConfigurePcm;
        misuseIf(!bench.write(48000, 2, 16, mode), "a change of mode is refused");
      }
      bench.ready();
      std::this_thread::yield();
      bench.event(Tavro::PortEvent::kFlush);
    }
  });
  finish(bench);
}

void leavesItsPeer(Bench& bench) {
  buildUnrecorded(bench, 6000);
  std::atomic<bool> connected{true};
  bench.upstream.onQuery = [&] {
    const bool late = !connected;
    pause(100);
    misuseIf(late || !connected, "a peer is asked after its disconnection");
  };
  bench.whileFeeding([&] {
    for (Rounds rounds(200); rounds.next();) {
      connected = true;
      bench.connectPeer(&bench.upstream);
      readyAndPulled(bench);
      bench.event(Tavro::PortEvent::kDisconnect);
      connected = false;
    }
  });
  finish(bench);
}

void leavesItsSessionMeanwhile(Bench& bench) {
  buildUnrecorded(bench, 6000);
  std::atomic<bool> left{false};
  bench.session.clock.onRead = [&] {
    pause(200);
    misuseIf(left, "the clock is read after destroy()");
  };
  bench.whileFeeding([&] {
    for (Rounds rounds(50); rounds.next();) {
      left = false;
      readyAndPulled(bench);
      bench.event(Tavro::PortEvent::kFlush);
      bench.component->component().destroy();
      left = true;
      pause(400);
      bench.component->component().create(&bench.session);
    }
    left = false;
  });
  finish(bench);
}

}  // namespace

std::vector<Promise> threadPromises() {
  const char* subject = "threads";
  return {
      {"playback-in-parallel", subject,
       "While the device plays, calls of the host release each buffer once and all return.",
       playsWhileTheHostWorks},
      {"bursts-in-parallel", subject,
       "While the device takes bursts, flushes and changes of mode release each buffer once.",
       flushesBursts},
      {"disconnect-in-parallel", subject,
       "When the disconnect event returns, the former peer is not asked any more.", leavesItsPeer},
      {"destroy-in-parallel", subject,
       "When destroy() returns, the feeder does not use the session any more.",
       leavesItsSessionMeanwhile},
  };
}

}  // namespace Check
