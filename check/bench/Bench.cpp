// SPDX-License-Identifier: MIT

#include "check/bench/Bench.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <thread>
#include <utility>

#include "tavro_core/Log.h"
#include "time/HostTime.h"
#include "time/Nanoseconds.h"

namespace Check {
namespace {

namespace HostTime = Tavro::HostTime;
namespace Script = AudioDevices::Script;
using Tavro::kNanosPerMs;

}  // namespace

Bench::Bench(std::string bundlePath)
    : Findings([this] {
        return fmt::format("host time {} ms, graph time {} ms", hostMs(), session.clock.ms.load());
      }),
      m_path(std::move(bundlePath)) {
  Tavro::setLogLevel(Tavro::LogLevel::Verbose);
  Tavro::setLogSink([](Tavro::LogLevel, std::string_view line) {
    Journal::instance().add("log " + std::string(line));
  });
  advance(1000);  // host time 0 would look like none
}

Bench::~Bench() { Tavro::setLogSink({}); }

Tavro::Bundle& Bench::bundle() {
  if (m_bundle == nullptr) {
    m_bundle = std::make_unique<Tavro::Bundle>(m_path);
  }
  return *m_bundle;
}

void Bench::advance(std::uint64_t ms) {
  HostTime::waitUntil(HostTime::now() + ms * kNanosPerMs, "the next step of the check");
}

std::uint64_t Bench::hostMs() const { return HostTime::now() / kNanosPerMs; }

void Bench::make() {
  step("make a component");
  component = bundle().makeComponent();
}

void Bench::connect(std::uint32_t formatCode) {
  make();
  step("create and connect");
  require(component->component().create(&session), "create() in a session returns true", "false");
  format.formatCode = formatCode;
  port = connectInput();
  require(port != nullptr, "connectInput() returns a port", "null");
  require(connectPeer(&upstream), "the connect event returns true", "false");
}

void Bench::build(std::uint32_t formatCode, std::uint32_t rate, std::uint32_t channels,
                  std::uint32_t bits) {
  connect(formatCode);
  require(write(rate, channels, bits), "the property write returns true", "false");
  require(platform.output().has_value(), "a property write builds a graph with a render callback",
          "there is none");
}

void Bench::start() { event(Tavro::PortEvent::kStart); }

bool Bench::write(std::uint32_t rate, std::uint32_t channels, std::uint32_t bits,
                  std::uint32_t id) {
  step(fmt::format("write {} Hz, {} channels, {} bits{}", rate, channels, bits,
                   id == Tavro::PortQuery::kConfigurePassthrough ? " for passthrough" : ""));
  Tavro::AudioProperties properties;
  properties.m_sampleRate = rate;
  properties.m_channels = channels;
  properties.m_bitsPerSample = bits;
  Tavro::_Variant value = objectValue(&properties);
  return port->writeQuery(id, &value);
}

bool Bench::event(std::uint32_t id) {
  step(eventInWords(id));
  Tavro::_Variant none{};
  return port->sendEvent(id, &none);
}

bool Bench::connectPeer(Tavro::PortInterface* peer) {
  step("connect event");
  Tavro::_Variant value = objectValue(peer);
  return port->sendEvent(Tavro::PortEvent::kConnect, &value);
}

Tavro::PortInterface* Bench::connectInput() {
  return component->output().connectInput(Tavro::MediaType::Audio, &format, &source);
}

bool Bench::ready() {
  Tavro::_Variant none{};
  return port->checkEvent(Tavro::PortCheck::kReady, &none);
}

void Bench::announceVolume(Tavro::_Variant value) {
  step(fmt::format("announce the volume {}", value.value));
  const Tavro::Setting volume(Tavro::MediaType::Audio, narrow("Output"), narrow("Volume"));
  require(!session.consumers.empty(), "a setting consumer is registered", "none is");
  (*session.consumers.begin())->settingChanged(volume, &value);
}

void Bench::flush(bool fromAnotherThread) {
  if (fromAnotherThread) {
    std::thread([this] { event(Tavro::PortEvent::kFlushAgain); }).join();
  } else {
    event(Tavro::PortEvent::kFlush);
  }
}

void Bench::end() {
  removeHooks();
  if (component) {
    step("destroy and delete the component");
    component->component().destroy();
    component.reset();
  }
}

void Bench::removeHooks() {
  session.onReport = nullptr;
  session.clock.onRead = nullptr;
  upstream.onQuery = nullptr;
}

Rendered Bench::render(UInt32 frames, std::optional<UInt32> capacity) {
  const std::optional<BuiltOutput> output = platform.output();
  require(output.has_value(), "there is a graph with a render callback", "there is none");
  step(fmt::format("render {} frames", frames));
  return callRender(*output, frames, capacity.value_or(frames * output->format.mBytesPerFrame));
}

void Bench::feed() {
  ready();
  letFeederRun();
}

RecordedBuffer& Bench::queue(std::size_t bytes, std::uint32_t timeStampMs,
                             std::uint32_t durationMs) {
  RecordedBuffer& buffer = upstream.add(bytes, timeStampMs, durationMs);
  feed();
  return buffer;
}

Tavro::TimeBaseInterface& Bench::timeBase() {
  require(!session.clock.timeBases.empty(), "a time base is registered with the session's clock",
          "none is");
  return **session.clock.timeBases.begin();
}

std::string Bench::information(const char* key) {
  Tavro::_Variant entry{};
  if (!component->component().getInfo(key, &entry) || entry.value == 0) {
    return "(none)";
  }
  if (entry.type == Tavro::VariantType::kNarrowText) {
    return reinterpret_cast<const Tavro::NarrowString*>(entry.value)->m_data;
  }
  const std::wstring text = reinterpret_cast<const Tavro::WideString*>(entry.value)->m_data;
  std::string narrowed;
  std::ranges::transform(text, std::back_inserter(narrowed),
                         [](wchar_t letter) { return static_cast<char>(letter); });
  return narrowed;
}

void Bench::whileFeeding(const std::function<void()>& work) {
  std::atomic<bool> done{false};
  std::exception_ptr failure;
  std::thread host([&] {
    HostTime::useAnyProcessor();
    try {
      work();
    } catch (...) {
      failure = std::current_exception();
    }
    done = true;
  });
  while (!done) {
    advance(10);
    std::this_thread::sleep_for(std::chrono::microseconds(50));  // the processor is the others'
  }
  host.join();
  if (failure) {
    std::rethrow_exception(failure);
  }
}

void Bench::requireWatch() {
  if (!Watch::isPresent()) {
    throw NotChecked{"this build cannot watch the heap"};
  }
}

void Bench::expectReferencesReturned() {
  for (const RecordedBuffer* buffer : upstream.buffers()) {
    const unsigned wanted = buffer->isDelivered() ? 1 : 0;
    expectEqual(fmt::format("releases of the buffer stamped {}", buffer->timeStamp),
                buffer->releases(), wanted);
  }
}

void Bench::expectNothingRegistered() {
  const Script::Leftovers left = Script::leftovers();
  expect(left == Script::Leftovers{}, "nothing is registered with the platform",
         fmt::format("{} graphs, {} units, {} I/O procedures, {} running devices", left.graphs,
                     left.units, left.ioProcedures, left.runningDevices));
}

void Bench::expectNoMisuse() {
  const Lines misuses = Journal::instance().takeMisuses();
  expect(misuses.empty(), "buffers, session and upstream port are used as the contract says",
         inWords(misuses));
}

}  // namespace Check
