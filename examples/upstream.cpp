// SPDX-License-Identifier: MIT

// An upstream and a session of one's own: prepared buffers, each accounted for. Plays into
// CoreAudioOutput.so or the bundle named by the argument, on a device in memory.

#include <AudioDevices/ScriptedDevice.h>

#include <atomic>
#include <cstdio>
#include <deque>

#include "host/TavroCore.h"
#include "tavro_core/Bundle.h"
#include "tavro_core/Clock.h"

constexpr std::uint32_t kRate = 48000, kFrames = 960, kMs = 20, kBuffers = 50;

/// What happened to the buffers, counted on the threads of output, device and host.
struct Fates {
  std::atomic<unsigned> taken, played, late, returned, returnedTwice;
} fates;

/// 20 ms of a square wave. The output owns one reference from readQuery() to release().
struct Prepared final : Tavro::MediaBuffer {
  explicit Prepared(std::uint32_t stampMs) : MediaBuffer(sizeof samples, 0, stampMs, kMs) {
    for (std::uint32_t i = 0; i < 2 * kFrames; ++i) samples[i] = i / 108 % 2 != 0 ? 4000 : -4000;
  }
  std::uint8_t* lockData() override { return reinterpret_cast<std::uint8_t*>(samples); }
  void unlockData() override {}
  void release() override { ++(isHeld.exchange(false) ? fates.returned : fates.returnedTwice); }
  std::int16_t samples[2 * kFrames];  // stereo
  std::atomic<bool> isHeld{false};
};

struct Upstream final : Tavro::PortInterface, Tavro::StreamSource {
  Upstream() {
    for (std::uint32_t i = 0; i < kBuffers; ++i) buffers.emplace_back(i * kMs);
  }
  bool readQuery(unsigned id, Tavro::_Variant* value) override {  // on the output's own thread
    if (id != Tavro::PortQuery::kNextBuffer || fates.taken == kBuffers) return false;
    Prepared& buffer = buffers[fates.taken++];
    buffer.isHeld = true;
    value->value = reinterpret_cast<std::uintptr_t>(static_cast<Tavro::MediaBuffer*>(&buffer));
    return true;
  }
  bool checkEvent(unsigned, Tavro::_Variant*) override { return false; }
  bool sendEvent(unsigned, Tavro::_Variant*) override { return false; }
  bool writeQuery(unsigned, Tavro::_Variant*) override { return false; }
  std::uint32_t streamId() override { return 1; }
  std::deque<Prepared> buffers;
};

struct Session final : Tavro::GraphSessionInterface {  // without settings
  void reportBuffer(std::uint32_t, std::uint32_t state, Tavro::MediaBuffer*) override {
    if (state == Tavro::BufferState::kPlayed) ++fates.played;
    if (state == Tavro::BufferState::kDroppedLate) ++fates.late;
  }
  bool getSetting(const Tavro::Setting&, Tavro::_Variant*) override { return false; }
  void registerSettingConsumer(Tavro::SettingConsumer*) override {}
  void unregisterSettingConsumer(Tavro::SettingConsumer*) override {}
  Tavro::SessionClock* getClock() override { return &clock; }
  Tavro::Clock clock;
};

int main(int argc, char** argv) {
  Tavro::HostTime::simulate();
  AudioDevices::ScriptedDevice device(
      {.streams = {{.format = AudioDevices::pcmInteger(kRate, 2, 16)}}, .clocked = true});
  Session session;
  Upstream upstream;
  Tavro::Bundle bundle(argc > 1 ? argv[1] : "CoreAudioOutput.so");
  auto component = bundle.makeComponent();
  component->component().create(&session);
  const Tavro::FormatDescriptor format{Tavro::FormatCode::kInteger, 0, 0, 2, 0};
  auto* port = component->output().connectInput(Tavro::MediaType::Audio, &format, &upstream);
  Tavro::PortInterface* peer = &upstream;
  Tavro::_Variant value{Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(peer)};
  port->sendEvent(Tavro::PortEvent::kConnect, &value);
  Tavro::AudioProperties stream;
  stream.m_sampleRate = kRate, stream.m_channels = 2, stream.m_bitsPerSample = 16;
  value.value = reinterpret_cast<std::uintptr_t>(&stream);
  port->writeQuery(Tavro::PortQuery::kConfigurePcm, &value);

  session.clock.set(100);  // four buffers end before that
  while (!port->checkEvent(Tavro::PortCheck::kReady, nullptr)) Tavro::SleepMS(1);
  session.clock.start();
  port->sendEvent(Tavro::PortEvent::kStart, nullptr);
  while (fates.played < 20) Tavro::SleepMS(1);
  port->sendEvent(Tavro::PortEvent::kDisconnect, nullptr);  // clears what is queued
  component->output().disconnectInput(port);
  Tavro::_Variant peak{};
  if (component->component().getInfo("Peak", &peak)) std::printf("peak %zu\n", peak.value);
  component->component().destroy();
  const unsigned cleared = fates.returned - fates.played - fates.late;
  const bool isBalanced = fates.returned == fates.taken && fates.returnedTwice == 0;
  std::printf("taken %u: played %u, dropped as late %u, cleared %u; %s\n", +fates.taken,
              +fates.played, +fates.late, cleared, isBalanced ? "balanced" : "not balanced");
  return isBalanced ? 0 : 1;
}
