// SPDX-License-Identifier: MIT

#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <thread>

#include "PassthroughTest.h"

namespace {

constexpr unsigned kRounds = 400;

/// Several threads at the component at once, feeder free. The record of calls is off, so that the
/// fakes order nothing; the fakes' violations, the release counts and ThreadSanitizer judge.
class ConcurrencyTest : public PassthroughTest {
 protected:
  void SetUp() override {}

  void buildFree(unsigned buffers = 6000) {
    build();
    journal.record(false);
    addLongLasting(buffers, 240);
    gate.open();
  }

  void addLongLasting(unsigned count, std::size_t bytes) {
    for (unsigned i = 0; i < count; ++i) {
      upstream.add(pattern(bytes, i), 1000, 2000000000);
    }
    session.clock.ms = 1000;
  }

  static void await(const std::function<bool()>& met) {
    while (!met()) {
      std::this_thread::yield();
    }
  }

  /// Waits until the feeder asks a peer, which a ready check lets it do.
  void readyAndPulled(const FakeUpstream& peer) {
    await([this, &peer, before = peer.queries()] {
      ready();
      return peer.queries() != before;
    });
  }
  void readyAndPulled() { readyAndPulled(upstream); }

  void awaitSound() {
    await([this] {
      ready();
      return session.reportsOf[Tavro::BufferState::kPlaying] != 0;
    });
  }

  void endThreads() {
    m_done = true;
    for (std::thread& thread : m_threads) {
      thread.join();
    }
    m_threads.clear();
  }

  void TearDown() override {
    endThreads();
    journal.record(true);
    BundleTest::TearDown();
  }

  /// Runs `work` on a thread of its own until the test ends.
  void meanwhile(std::function<void()> work) {
    m_threads.emplace_back([this, work = std::move(work)] {
      while (!m_done) {
        work();
        std::this_thread::sleep_for(std::chrono::microseconds(1));  // the others' turn
      }
    });
  }

  void meanwhileRender() {
    meanwhile([this] {
      std::lock_guard betweenCycles(platform.cycle());
      const FakeGraph* graph = platform.newestGraph();
      if (graph == nullptr || !graph->running) {
        return;
      }
      Bytes memory(64 * 16);
      AudioBufferList list{1, {{2, static_cast<UInt32>(memory.size()), memory.data()}}};
      AudioUnitRenderActionFlags flags = 0;
      const auto callback = graph->unit.callback;
      callback.inputProc(callback.inputProcRefCon, &flags, nullptr, 0, 64, &list);
      lookForReleased(memory);
    });
  }

  void lookForReleased(const Bytes& played) {
    if (std::find(played.begin(), played.end(), 0xDD) != played.end()) {
      journal.violation("released bytes were played");
    }
  }

  std::atomic<bool> m_done{false};
  std::vector<std::thread> m_threads;
};

TEST_F(ConcurrencyTest, whatTheHostDoesDuringPlaybackReleasesEachBufferOnceAndReachesNoDeadUnit) {
  buildFree(12000);
  // A service whose reset waits for the call under way, a session with one lock for all it does,
  // and a clock that asks its time bases.
  std::recursive_mutex sessionLock;
  platform.onCall("AudioUnitReset", [this] { std::lock_guard lastCycleEnded(platform.cycle()); });
  session.onReport = [&](const Report&) { std::lock_guard lock(sessionLock); };
  session.clock.onRead = [time = &timeBase()] { time->isRunning(); };
  event(Tavro::PortEvent::kStart);
  meanwhileRender();
  meanwhile([time = &timeBase()] {
    time->currentTime();
    time->isRunning();
  });
  meanwhile([&] {
    std::lock_guard lock(sessionLock);
    announceVolume({Tavro::VariantType::kUInt8, 50});
  });
  meanwhile([this] {
    const std::string bits = info("BitsPerSample");
    if (bits != "16" && bits != "24") {
      journal.violation("BitsPerSample reads " + bits);
    }
  });
  awaitSound();
  for (unsigned i = 0; i < 2 * kRounds; ++i) {
    event(i % 4 < 2 ? Tavro::PortEvent::kFlush : Tavro::PortEvent::kFlushAgain);
    readyAndPulled();
    if (i % 4 == 0) {
      event(Tavro::PortEvent::kStop);
    } else if (i % 2 == 1) {
      const bool fails = i % 8 == 7;
      if (fails) {
        platform.fail("AudioUnitSetProperty", -1, 1 + i % 16 / 8);
      }
      EXPECT_EQ(write(8000 + i, 1 + i % 4, i % 4 == 1 ? 24 : 16), !fails);
    }
    event(Tavro::PortEvent::kStart);
  }
  endThreads();
}

TEST_F(ConcurrencyTest, nothingThatWasAskedForBeforeAFlushIsQueuedAfterIt) {
  buildFree();
  session.clock.onRead = [] { std::this_thread::sleep_for(std::chrono::microseconds(100)); };
  for (unsigned i = 0; i < kRounds / 2; ++i) {
    readyAndPulled();
    event(Tavro::PortEvent::kFlush);
    gate.park();
    gate.awaitSleeper();  // it has nothing in hand any more
    ASSERT_EQ(released(), upstream.delivered()) << "round " << i;
    gate.open();
  }
}

TEST_F(ConcurrencyTest, connectAndDisconnectReturnOnlyWhenNoPullFromTheFormerPeerIsUnderWay) {
  buildFree();
  FakeUpstream other;
  std::atomic<bool> connected{true};
  std::atomic<bool> otherConnected{false};
  const auto watch = [this](FakeUpstream& peer, const std::atomic<bool>& mayBeAsked) {
    peer.onQuery = [this, &mayBeAsked] {
      const bool askedLate = !mayBeAsked;
      std::this_thread::sleep_for(std::chrono::microseconds(100));
      if (askedLate || !mayBeAsked) {
        journal.violation("a former peer is asked");
      }
    };
  };
  watch(upstream, connected);
  watch(other, otherConnected);
  for (unsigned i = 0; i < kRounds / 2; ++i) {
    connected = true;
    connectPeer(&upstream);
    readyAndPulled();
    otherConnected = true;
    connectPeer(&other);
    connected = false;
    readyAndPulled(other);
    event(Tavro::PortEvent::kDisconnect);
    otherConnected = false;
  }
}

TEST_F(ConcurrencyTest, theSessionIsNotUsedAnyMoreOnceTheComponentHasLeftIt) {
  buildFree();
  std::atomic<bool> left{false};
  session.clock.onRead = [&] {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    if (left) {
      journal.violation("the clock was read after the destroy");
    }
  };
  for (unsigned i = 0; i < kRounds / 8; ++i) {
    left = false;
    readyAndPulled();
    event(Tavro::PortEvent::kFlush);
    component->component().destroy();
    left = true;
    std::this_thread::sleep_for(std::chrono::microseconds(400));
    component->component().create(&session);
  }
}

TEST_F(ConcurrencyTest, aCallUnderWayHoldsBackTheEndOfWhatItUses) {
  for (const bool volume : {true, false}) {
    platform.reset();
    build();
    std::atomic<bool> inside{false};
    platform.onCall(volume ? "AudioUnitSetParameter" : "AUGraphIsRunning", [&inside] {
      inside = true;
      for (int i = 0; i < 2000; ++i) {
        std::this_thread::yield();
      }
    });
    std::thread other([&] {
      volume ? announceVolume({Tavro::VariantType::kUInt8, 50}) : void(timeBase().isRunning());
    });
    await([&inside] { return inside.load(); });
    event(Tavro::PortEvent::kDisconnect);
    other.join();
    end();
  }
}

TEST_F(ConcurrencyTest, burstsAreFlushedAndTornDownWhileTheDeviceRuns) {
  PassthroughTest::SetUp();
  journal.record(false);
  gate.open();
  addLongLasting(2000, kBurstBytes);
  meanwhile([this] {
    std::lock_guard betweenCycles(platform.cycle());
    const FakeIOProc* proc = platform.ioProc();
    if (proc != nullptr && proc->running) {
      lookForReleased(cycle()[1]);
    }
  });
  for (unsigned i = 0; i < kRounds; ++i) {
    if (i % 8 == 0) {
      write(
          48000, 2, 16,
          i % 16 == 0 ? Tavro::PortQuery::kConfigurePassthrough : Tavro::PortQuery::kConfigurePcm);
    }
    ready();
    std::this_thread::yield();
    event(Tavro::PortEvent::kFlush);
  }
}

}  // namespace
