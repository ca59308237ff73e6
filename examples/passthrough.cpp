// SPDX-License-Identifier: MIT

// Passes the frames of a raw AC-3 file of 48 kHz to a device, as IEC 61937 bursts, and has the
// device validate what arrives.

#include <AudioDevices/AudioDevices.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <span>

#include "host/TavroCore.h"
#include "tavro_core/BufferPool.h"
#include "tavro_core/Bundle.h"
#include "tavro_core/Session.h"

constexpr std::uint32_t kBurstBytes = 6144, kMs = 32;  // 1536 frames of 16-bit stereo at 48 kHz

/// Returns the bytes of the frame at the front, or 0 if that is not a whole one of AC-3 at 48 kHz.
std::uint32_t frameBytes(std::span<const std::uint8_t> file) {
  constexpr std::uint32_t kKilobits[] = {32,  40,  48,  56,  64,  80,  96,  112, 128, 160,
                                         192, 224, 256, 320, 384, 448, 512, 576, 640};
  if (file.size() < 5 || file[0] != 0x0B || file[1] != 0x77) return 0;
  const std::size_t code = file[4] / 2;  // the two upper bits are the rate, 0 for 48 kHz
  const std::uint32_t bytes = code < std::size(kKilobits) ? kKilobits[code] * kMs / 8 : 0;
  return bytes <= file.size() ? bytes : 0;
}

/// Writes a preamble, the frame as words of 16 bits, the lower byte first, and zeros.
void pack(std::span<const std::uint8_t> frame, std::uint8_t* burst) {
  const auto bits = static_cast<std::uint16_t>(frame.size() * 8);
  const std::uint16_t preamble[] = {0xF872, 0x4E1F, 1, bits};  // 1: AC-3
  std::memset(burst, 0, kBurstBytes);
  std::memcpy(burst, preamble, sizeof preamble);
  for (std::size_t i = 0; i < frame.size(); ++i) burst[sizeof preamble + (i ^ 1)] = frame[i];
}

struct Upstream final : Tavro::PortInterface, Tavro::StreamSource {
  Upstream(std::span<const std::uint8_t> file, Tavro::Ledger& books) : rest(file), ledger(books) {}
  bool readQuery(unsigned, Tavro::_Variant* value) override {
    const std::uint32_t bytes = frameBytes(rest);
    Tavro::PooledBuffer* buffer = bytes != 0 ? pool.acquire() : nullptr;
    if (buffer == nullptr) return false;
    pack(rest.first(bytes), buffer->bytes());
    rest = rest.subspan(bytes);
    buffer->describe(kBurstBytes, made++ * kMs, kMs);
    ledger.pulled(*buffer);
    value->value = reinterpret_cast<std::uintptr_t>(static_cast<Tavro::MediaBuffer*>(buffer));
    return true;
  }
  bool checkEvent(unsigned, Tavro::_Variant*) override { return false; }
  bool sendEvent(unsigned, Tavro::_Variant*) override { return false; }
  bool writeQuery(unsigned, Tavro::_Variant*) override { return false; }
  std::uint32_t streamId() override { return 1; }
  std::span<const std::uint8_t> rest;
  std::uint32_t made = 0;
  Tavro::Ledger& ledger;
  Tavro::BufferPool pool{20, kBurstBytes, ledger};
};

int main(int argc, char** argv) {
  if (argc != 3) return std::fputs("usage: passthrough IN.ac3 OUT.spdif\n", stderr), 2;
  Tavro::HostTime::simulate();  // one thread runs at a time
  AudioDevices::Failure failure;
  const AudioDeviceID device = AudioDevices::attach(std::string("file:") + argv[2], &failure);
  if (failure) return std::fprintf(stderr, "%s\n", failure.message.c_str()), 1;
  std::ifstream input(argv[1], std::ios::binary);
  const std::vector<std::uint8_t> file(std::istreambuf_iterator<char>(input), {});
  Tavro::Session session;
  Upstream upstream(file, session.ledger());
  Tavro::Bundle bundle("CoreAudioOutput.so");
  auto component = bundle.makeComponent();
  component->component().create(&session);
  const Tavro::FormatDescriptor format{Tavro::FormatCode::kRaw, 0, 0, 2, 0};
  auto* port = component->output().connectInput(Tavro::MediaType::Audio, &format, &upstream);
  Tavro::PortInterface* peer = &upstream;
  Tavro::_Variant value{Tavro::VariantType::kObject, reinterpret_cast<std::uintptr_t>(peer)};
  port->sendEvent(Tavro::PortEvent::kConnect, &value);
  Tavro::AudioProperties stream;
  stream.m_sampleRate = 48000, stream.m_channels = 2, stream.m_bitsPerSample = 16;
  value.value = reinterpret_cast<std::uintptr_t>(&stream);
  // Switches the device to a matching AC-3 format and starts it; there is no start event.
  const bool passes = port->writeQuery(Tavro::PortQuery::kConfigurePassthrough, &value);
  port->checkEvent(Tavro::PortCheck::kReady, nullptr);  // the feeder begins to ask
  while (passes && (frameBytes(upstream.rest) != 0 || session.ledger().totals().held != 0))
    Tavro::SleepMS(kMs);
  port->sendEvent(Tavro::PortEvent::kDisconnect, nullptr);
  component->output().disconnectInput(port);
  component->component().destroy();
  const AudioDevices::BurstReport report = AudioDevices::burstsOf(device);
  for (const auto& [burst, reason] : report.first) std::printf("%zu: %s\n", burst, reason.c_str());
  std::printf("sent %u, arrived %zu, faulty %zu\n", upstream.made, report.bursts,
              report.violations);
  failure = AudioDevices::detach(device);  // completes the file
  const bool isComplete =
      upstream.made > 0 && upstream.rest.empty() && report.bursts == upstream.made;
  return passes && isComplete && report.violations == 0 && !failure ? 0 : 1;
}
