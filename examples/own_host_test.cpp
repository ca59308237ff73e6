// SPDX-License-Identifier: MIT

// Tests a host without a sound card, in simulated time: the device vanishes while it plays, and the
// upstream has nothing for a while. Exits with the number of failures.

#include <AudioDevices/ScriptedDevice.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <numeric>
#include <ranges>

#include "OwnHost.h"
#include "tavro_core/BufferPool.h"
using namespace Tavro;

constexpr std::uint32_t kFrames = 960, kMs = 20, kBuffers = 50;  // one second at 48 kHz

int failures = 0;
void expect(bool isMet, const char* what) {
  if (!isMet) ++failures, std::printf("failed: %s\n", what);
}

/// Hands out frames that are numbered from 1, so that a lost or repeated one shows.
struct Upstream final : PortInterface, StreamSource {
  explicit Upstream(Ledger& books) : ledger(books), pool(20, kFrames * 4, books) {}
  bool readQuery(unsigned, _Variant* value) override {
    if (made == kBuffers || GetTimeMS() < silentUntilMs) return false;
    PooledBuffer* buffer = pool.acquire();
    auto* frames = reinterpret_cast<std::uint32_t*>(buffer->bytes());
    std::iota(frames, frames + kFrames, made * kFrames + 1);
    buffer->describe(kFrames * 4, made++ * kMs, kMs);
    ledger.pulled(*buffer);
    value->value = reinterpret_cast<std::uintptr_t>(static_cast<MediaBuffer*>(buffer));
    return true;
  }
  bool checkEvent(unsigned, _Variant*) override { return false; }
  bool sendEvent(unsigned, _Variant*) override { return false; }
  bool writeQuery(unsigned, _Variant*) override { return false; }
  std::uint32_t streamId() override { return 1; }
  std::uint32_t made = 0;
  std::uint64_t silentUntilMs = 0;  // not atomic: one thread runs at a time in simulated time
  Ledger& ledger;
  BufferPool pool;
};

struct Speaker : AudioDevices::ScriptedDevice {
  explicit Speaker(const char* name)
      : ScriptedDevice({.name = name,
                        .streams = {{.format = AudioDevices::pcmInteger(48000, 2, 16)}},
                        .clocked = true,
                        .captureBytes = 1 << 20}) {}
  std::vector<std::uint32_t> sound() const {
    const std::vector<std::uint8_t> bytes = captured(0);
    std::vector<std::uint32_t> frames(bytes.size() / 4);
    std::memcpy(frames.data(), bytes.data(), bytes.size());
    std::erase(frames, 0U);  // silence
    return frames;
  }
};

void testDeviceThatVanishes() {
  Speaker first("first");
  Session session;
  Upstream upstream(session.ledger());
  OwnHost host(session, upstream);
  host.playFor(300);
  first.disappear();
  host.playFor(500);
  Speaker second("second");
  host.playFor(1000);
  std::vector<std::uint32_t> heard = first.sound();
  std::ranges::copy(second.sound(), std::back_inserter(heard));
  expect(std::ranges::equal(heard, std::views::iota(1U, kBuffers * kFrames + 1)),
         "every frame is played once, in order, on one device or the other");
}

void testUnderrun() {
  Speaker speaker("speaker");
  Session session;
  Upstream upstream(session.ledger());
  OwnHost host(session, upstream);
  host.playFor(300);
  upstream.silentUntilMs = GetTimeMS() + 300;
  host.playFor(1000);
  const LedgerTotals totals = session.ledger().totals();
  expect(totals.droppedLate == 5 && totals.played == 45,
         "what is late after an underrun is dropped");
  expect(totals.balanced() && totals.held == 0, "every buffer is returned once");
}

int main() {
  HostTime::simulate();  // before any other thread waits
  testDeviceThatVanishes();
  testUnderrun();
  return failures;
}
