// SPDX-License-Identifier: MIT

// Plays two seconds of a tone on the default device, or into the WAV file named by the argument.

#include <AudioDevices/AudioDevices.h>

#include <atomic>
#include <cmath>
#include <cstdio>
#include <stdexcept>

#include "host/TavroCore.h"
#include "tavro_core/BufferPool.h"
#include "tavro_core/Bundle.h"
#include "tavro_core/Session.h"

constexpr std::uint32_t kRate = 48000, kFrames = 960, kBuffers = 100, kQueue = 10;  // of 20 ms

/// The upstream port: generates 16-bit stereo when the output's feeder asks for a buffer.
struct Tone final : Tavro::PortInterface, Tavro::StreamSource {
  explicit Tone(Tavro::Ledger& books) : ledger(books), pool(2 * kQueue, kFrames * 4, books) {}
  bool readQuery(unsigned, Tavro::_Variant* value) override {  // kNextBuffer, the only query
    Tavro::PooledBuffer* buffer = made < kBuffers ? pool.acquire() : nullptr;
    if (buffer == nullptr) return false;
    auto* samples = reinterpret_cast<std::int16_t*>(buffer->bytes());
    for (std::uint32_t i = 0; i < kFrames; ++i, samples += 2) {
      const double wave = 8000 * std::sin(2 * M_PI * 440 * (made * kFrames + i) / kRate);
      samples[0] = samples[1] = static_cast<std::int16_t>(wave);  // left and right
    }
    buffer->describe(kFrames * 4, made++ * 20, 20);  // bytes, time stamp and duration in ms
    ledger.pulled(*buffer);
    value->value = reinterpret_cast<std::uintptr_t>(static_cast<Tavro::MediaBuffer*>(buffer));
    return true;
  }
  bool checkEvent(unsigned, Tavro::_Variant*) override { return false; }
  bool sendEvent(unsigned, Tavro::_Variant*) override { return false; }
  bool writeQuery(unsigned, Tavro::_Variant*) override { return false; }
  std::uint32_t streamId() override { return 1; }
  std::atomic<std::uint32_t> made{0};
  Tavro::Ledger& ledger;
  Tavro::BufferPool pool;
};

void await(auto isMet) {  // for up to ten seconds
  for (int ms = 0; ms < 10'000 && !isMet(); ++ms) Tavro::SleepMS(1);
}

void play(AudioDeviceID device) {
  Tavro::Session session;
  Tone tone(session.ledger());
  Tavro::Bundle bundle("CoreAudioOutput.so");
  auto component = bundle.makeComponent();  // getPlugin and the lookups
  component->component().create(&session);  // adds its time base to the session's clock
  const Tavro::FormatDescriptor format{Tavro::FormatCode::kInteger, 0, 0, 2, 0};
  auto* port = component->output().connectInput(Tavro::MediaType::Audio, &format, &tone);
  Tavro::PortInterface* peer = &tone;
  Tavro::_Variant value{Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(peer)};
  port->sendEvent(Tavro::PortEvent::kConnect, &value);  // the feeder asks it for buffers
  Tavro::AudioProperties stream;
  stream.m_sampleRate = kRate, stream.m_channels = 2, stream.m_bitsPerSample = 16;
  value.value = reinterpret_cast<std::uintptr_t>(&stream);
  port->writeQuery(Tavro::PortQuery::kConfigurePcm, &value);  // builds the output
  // The ready check lets the feeder fill the queue. A sink takes 160 ms at once when it starts.
  await([&] { return port->checkEvent(Tavro::PortCheck::kReady, nullptr) && tone.made >= kQueue; });
  session.clock().start();
  port->sendEvent(Tavro::PortEvent::kStart, nullptr);
  await([&] {
    const auto stampMs = static_cast<std::uint32_t>(session.ledger().returnedCount()) * 20;
    if (session.clock().currentTime() > stampMs + 40) {  // the device takes nothing at the moment
      session.clock().pause();
      session.clock().set(stampMs);
      session.clock().start();  // with the device's next cycle
    }
    return session.ledger().returnedCount() == kBuffers;
  });
  const std::uint64_t given = AudioDevices::totalsOf(device).framesPlayed;
  await([&] { return AudioDevices::totalsOf(device).framesHeard >= given; });
  port->sendEvent(Tavro::PortEvent::kStop, nullptr);
  port->sendEvent(Tavro::PortEvent::kDisconnect, nullptr);
  component->output().disconnectInput(port);
  component->component().destroy();
  if (session.ledger().totals().played != kBuffers) throw std::runtime_error("buffers were lost");
}

int main(int argc, char** argv) try {
  AudioDevices::Failure failure;
  AudioDeviceID device = kAudioObjectUnknown;
  if (argc > 1) {
    Tavro::HostTime::simulate();  // a file accepts audio as fast as it is made
    device = AudioDevices::attach(std::string("file:") + argv[1], &failure);
  } else {
    for (const auto& each : AudioDevices::list()) device = each.isDefault ? each.id : device;
    if (device == kAudioObjectUnknown) device = AudioDevices::attach("alsa:default", &failure);
  }
  if (!failure) play(device), failure = AudioDevices::detach(device);  // completes the file
  if (failure) throw std::runtime_error(failure.message);
} catch (const std::exception& error) {
  return std::fprintf(stderr, "example-host: %s\n", error.what()), 1;
}
