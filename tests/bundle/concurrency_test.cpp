#include <algorithm>
#include <atomic>
#include <chrono>
#include <functional>
#include <random>
#include <thread>

#include "BundleTest.h"

namespace {

constexpr unsigned kRounds = 400;

/// Several threads at the component at once, feeder free. The record of calls is off, so that the
/// fakes order nothing; the fakes' violations, the release counts and ThreadSanitizer judge.
class ConcurrencyTest : public BundleTest {
 protected:
  void buildFree(unsigned buffers = 6000) {
    build();
    journal.record(false);
    for (unsigned i = 0; i < buffers; ++i) {
      upstream.add(pattern(240, i), 1000, 2000000000);
    }
    session.clock.ms = 1000;
    gate.open();
  }

  /// Waits until the feeder asks upstream, which a ready check lets it do.
  void readyAndPulled() {
    const unsigned before = upstream.queries();
    while (upstream.queries() == before) {
      ready();
      std::this_thread::yield();
    }
  }

  void awaitSound() {
    while (session.reportsOf(Tavro::BufferState::kPlaying) == 0) {
      ready();
      std::this_thread::yield();
    }
  }

  void TearDown() override {
    m_done = true;
    for (std::thread& thread : m_threads) {
      thread.join();
    }
    m_threads.clear();
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
      std::lock_guard cycle(platform.cycle());
      const FakeGraph* graph = platform.newestGraph();
      if (graph == nullptr || !graph->running) {
        return;
      }
      std::vector<std::uint8_t> memory(64 * 16);
      AudioBufferList list{1, {{2, static_cast<UInt32>(memory.size()), memory.data()}}};
      AudioUnitRenderActionFlags flags = 0;
      const auto callback = graph->unit.callback;
      callback.inputProc(callback.inputProcRefCon, &flags, nullptr, 0, 64, &list);
      if (std::find(memory.begin(), memory.end(), 0xDD) != memory.end()) {
        journal.violation("released bytes were played");
      }
    });
  }

  void meanwhileObserve() {
    Tavro::TimeBaseInterface* time = &timeBase();
    meanwhile([time] {
      time->currentTime();
      time->isRunning();
    });
  }

  std::atomic<bool> m_done{false};
  std::vector<std::thread> m_threads;
};

TEST_F(ConcurrencyTest, flushesDuringPlaybackReleaseEachBufferOnce) {
  buildFree();
  event(Tavro::PortEvent::kStart);
  meanwhileRender();
  meanwhileObserve();
  awaitSound();
  for (unsigned i = 0; i < kRounds; ++i) {
    event(i % 2 == 0 ? Tavro::PortEvent::kFlush : Tavro::PortEvent::kFlushAgain);
    readyAndPulled();
  }
}

TEST_F(ConcurrencyTest, startStopAndReadyChecksDuringPlayback) {
  buildFree();
  meanwhileRender();
  meanwhileObserve();
  meanwhile([this] { ready(); });
  for (unsigned i = 0; i < kRounds; ++i) {
    event(Tavro::PortEvent::kStart);
    std::this_thread::yield();
    event(Tavro::PortEvent::kStop);
  }
}

TEST_F(ConcurrencyTest, rebuildsDuringPlaybackUnderVolumeChangesAndTimeBaseReads) {
  buildFree();
  event(Tavro::PortEvent::kStart);
  meanwhileRender();
  meanwhileObserve();
  meanwhile([this] { settingChange("Output", "Volume", {Tavro::VariantType::kUInt8, 50}); });
  awaitSound();
  for (unsigned i = 0; i < kRounds; ++i) {
    readyAndPulled();
    EXPECT_TRUE(write(i % 2 == 0 ? 44100 : 48000, 1 + i % 4, 16));
  }
}

TEST_F(ConcurrencyTest, volumeChangesDuringFailingBuildsReachNoDeadUnit) {
  buildFree();
  meanwhile([this] { settingChange("Output", "Volume", {Tavro::VariantType::kUInt8, 50}); });
  meanwhileObserve();
  for (unsigned i = 0; i < kRounds; ++i) {
    if (i % 2 == 0) {
      platform.fail("AudioUnitSetProperty", -1, 1 + i % 4 / 2);
    }
    EXPECT_EQ(write(i % 2 == 0 ? 44100 : 48000, 2, 16), i % 2 != 0);
  }
}

TEST_F(ConcurrencyTest, connectAndDisconnectWhileTheFeederPulls) {
  buildFree();
  meanwhile([this] { ready(); });
  meanwhileObserve();
  FakeUpstream other;
  for (unsigned i = 0; i < kRounds; ++i) {
    connectPeer(i % 2 == 0 ? &other : &upstream);
    std::this_thread::yield();
    event(Tavro::PortEvent::kDisconnect);
  }
  m_done = true;
  const unsigned queries = upstream.queries() + other.queries();
  for (int i = 0; i < 200; ++i) {
    std::this_thread::yield();
  }
  EXPECT_EQ(upstream.queries() + other.queries(), queries) << "asked after the disconnect";
}

TEST_F(ConcurrencyTest, aDisconnectReturnsOnlyWhenNoPullIsUnderWay) {
  buildFree();
  std::atomic<bool> connected{true};
  upstream.onQuery = [&] {
    if (!connected) {
      journal.violation("the peer was asked after the disconnect");
    }
    std::this_thread::yield();
    if (!connected) {
      journal.violation("the disconnect did not wait for the pull under way");
    }
  };
  for (unsigned i = 0; i < kRounds; ++i) {
    connected = true;
    connectPeer(&upstream);
    readyAndPulled();
    event(Tavro::PortEvent::kDisconnect);
    connected = false;
  }
}

TEST_F(ConcurrencyTest, aNewPeerIsTakenOnlyWhenNoPullFromTheFormerIsUnderWay) {
  buildFree();
  FakeUpstream other;
  std::atomic<bool> replaced{false};
  upstream.onQuery = [&] {
    std::this_thread::sleep_for(std::chrono::microseconds(200));
    if (replaced) {
      journal.violation("the connect did not wait for the pull under way");
    }
  };
  for (unsigned i = 0; i < kRounds / 4; ++i) {
    replaced = false;
    connectPeer(&upstream);
    readyAndPulled();
    connectPeer(&other);
    replaced = true;
    std::this_thread::sleep_for(std::chrono::microseconds(400));
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
    (*component)->destroy();
    left = true;
    std::this_thread::sleep_for(std::chrono::microseconds(400));
    (*component)->create(&session);
  }
}

TEST_F(ConcurrencyTest, informationIsReadWhileItIsReplaced) {
  buildFree();
  meanwhile([this] {
    const std::string bits = info("BitsPerSample");
    if (bits != "16" && bits != "24") {
      journal.violation("BitsPerSample reads " + bits);
    }
    info("Name");
    std::vector<const char*> keys;
    (*component)->getInfoKeys(&keys);
  });
  for (unsigned i = 0; i < kRounds; ++i) {
    write(8000 + i, 2, i % 2 == 0 ? 24 : 16);
  }
}

TEST_F(ConcurrencyTest, theVolumeCallUnderWayHoldsBackTheEndOfTheUnit) {
  build();
  std::atomic<bool> inside{false};
  platform.onCall("AudioUnitSetParameter", [&] {
    inside = true;
    for (int i = 0; i < 2000; ++i) {
      std::this_thread::yield();
    }
  });
  std::thread announcer([this] {
    settingChange("Output", "Volume", {Tavro::VariantType::kUInt8, 50});
  });
  while (!inside) {
    std::this_thread::yield();
  }
  event(Tavro::PortEvent::kDisconnect);
  announcer.join();
}

TEST_F(ConcurrencyTest, theRunningTestUnderWayHoldsBackTheEndOfTheGraph) {
  build();
  std::atomic<bool> inside{false};
  platform.onCall("AUGraphIsRunning", [&] {
    inside = true;
    for (int i = 0; i < 2000; ++i) {
      std::this_thread::yield();
    }
  });
  std::thread reader([this] { timeBase().isRunning(); });
  while (!inside) {
    std::this_thread::yield();
  }
  event(Tavro::PortEvent::kDisconnect);
  reader.join();
}

TEST_F(ConcurrencyTest, burstsAreFlushedAndTornDownWhileTheDeviceRuns) {
  connect();
  journal.record(false);
  gate.open();
  const AudioStreamBasicDescription burst{48000, kAudioFormatAC3, 0, 4, 1, 4, 2, 16, 0};
  platform.setProperty(40, kAudioDevicePropertyStreams, kAudioDevicePropertyScopeOutput,
                       std::vector<AudioStreamID>{51});
  platform.setProperty(51, kAudioStreamPropertyAvailablePhysicalFormats,
                       kAudioObjectPropertyScopeGlobal,
                       std::vector<AudioStreamRangedDescription>{{burst, {}}});
  for (unsigned i = 0; i < 2000; ++i) {
    upstream.add(pattern(6144, i), 1000, 2000000000);
  }
  meanwhile([this] {
    std::lock_guard cycle(platform.cycle());
    const FakeIOProc* proc = platform.ioProc();
    if (proc == nullptr || !proc->running) {
      return;
    }
    std::vector<std::uint8_t> memory(6144);
    AudioBufferList list{1, {{2, 6144, memory.data()}}};
    proc->procedure(40, nullptr, nullptr, nullptr, &list, nullptr, proc->clientData);
    if (std::find(memory.begin(), memory.end(), 0xDD) != memory.end()) {
      journal.violation("released bytes were played");
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

TEST_F(ConcurrencyTest, componentsAreDeletedWhileTheirGraphPlays) {
  meanwhileRender();
  for (unsigned i = 0; i < 20; ++i) {
    buildFree(30);
    event(Tavro::PortEvent::kStart);
    readyAndPulled();
    end();
    journal.record(true);
  }
}

TEST_F(ConcurrencyTest, componentsComeAndGoBesideEachOther) {
  gate.open();
  journal.record(false);
  const auto live = [this](unsigned seed) {
    FakeSession own;
    FakeUpstream peer;
    FakeSource stream(seed);
    const Tavro::FormatDescriptor descriptor{1, 0, 0, 2, 0};
    for (unsigned i = 0; i < 40 && !m_done; ++i) {
      Component one;
      one->create(&own);
      Tavro::PortInterface* in =
          one.output().connectInput(Tavro::MediaType::Audio, &descriptor, &stream);
      Tavro::_Variant connection{
          Tavro::VariantType::kObject,
          reinterpret_cast<std::uintptr_t>(static_cast<Tavro::PortInterface*>(&peer))};
      in->sendEvent(Tavro::PortEvent::kConnect, &connection);
      Tavro::AudioProperties properties;
      properties.m_sampleRate = 48000;
      properties.m_channels = 2;
      properties.m_bitsPerSample = 16;
      Tavro::_Variant value{Tavro::VariantType::kObject,
                            reinterpret_cast<std::uintptr_t>(&properties)};
      EXPECT_TRUE(in->writeQuery(Tavro::PortQuery::kConfigurePcm, &value));
      FakeBuffer& buffer = peer.add(pattern(400, i), 1000, 10);
      in->checkEvent(Tavro::PortCheck::kReady, &value);
      if (i % 2 == 0) {
        in->sendEvent(Tavro::PortEvent::kDisconnect, &value);
        one.output().disconnectInput(in);
      }
      one->destroy();
      static_cast<void>(buffer);
    }
    for (const FakeBuffer* buffer : peer.buffers()) {
      EXPECT_EQ(buffer->releases(), buffer->delivered() ? 1U : 0U);
    }
  };
  std::thread first(live, 1);
  std::thread second(live, 2);
  first.join();
  second.join();
}

}  // namespace
