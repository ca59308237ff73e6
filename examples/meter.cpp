// SPDX-License-Identifier: MIT

// The contract from the other side: a renderer bundle that measures the peak of 16-bit samples.

#include <atomic>
#include <cstdlib>
#include <mutex>
#include <string_view>
#include <thread>

#include "host/TavroCore.h"
using namespace Tavro;

/// The component, which is its own input port, and a time base. It takes samples as a device would.
struct Meter final : Plugin, OutputComponent, PortInterface, TimeBaseInterface {
  using Plugin::Plugin;
  std::uint32_t queryInterface(const NarrowString& id, void** out) override {
    const std::string_view name(id.m_data != nullptr ? id.m_data : "");
    *out = nullptr;
    if (name == InterfaceId::kComponent) *out = static_cast<ComponentInterface*>(this);
    if (name == InterfaceId::kOutput) *out = static_cast<OutputInterface*>(this);
    if (name == ComponentId::kOutput) *out = static_cast<OutputComponent*>(this);
    return *out != nullptr ? InterfaceResult::kFound : InterfaceResult::kUnknown;
  }
  bool create(GraphSessionInterface* session) override {
    m_session = session;
    session->getClock()->addTimeBase(this);
    return true;
  }
  bool destroy() override {
    m_session->getClock()->removeTimeBase(this);
    const std::lock_guard guard(m_lock);  // waits until the worker does not use the session
    m_plays = false;
    return true;
  }
  bool getInfoKeys(std::vector<const char*>* keys) override {
    return keys->push_back("Peak"), true;
  }
  bool getInfo(const char* key, _Variant* out) override {
    if (std::string_view(key) != "Peak") return false;
    *out = {VariantType::kUInt32, static_cast<std::uint32_t>(m_peak)};
    return true;
  }
  PortInterface* connectInput(MediaType type, const FormatDescriptor* format,
                              StreamSource* source) override {
    m_streamId = source->streamId();
    return type == MediaType::Audio && format->formatCode == FormatCode::kInteger ? this : nullptr;
  }
  bool disconnectInput(PortInterface* port) override { return port == this; }
  bool checkEvent(unsigned, _Variant*) override { return true; }  // always ready
  bool readQuery(unsigned, _Variant*) override { return false; }
  bool writeQuery(unsigned id, _Variant* value) override {
    return id == PortQuery::kConfigurePcm &&
           reinterpret_cast<const AudioProperties*>(value->value)->m_bitsPerSample == 16;
  }
  bool sendEvent(unsigned id, _Variant* value) override {
    const std::lock_guard guard(m_lock);  // waits for a query of the previous peer
    if (id == PortEvent::kConnect) m_peer = reinterpret_cast<PortInterface*>(value->value);
    if (id == PortEvent::kDisconnect) m_peer = nullptr;
    m_plays = id == PortEvent::kStart && m_peer != nullptr;  // all other events stop it
    return true;
  }
  // The clock calls these with a lock held that removeTimeBase() also takes.
  std::uint32_t currentTime() override { return m_measuredMs; }
  bool isRunning() override { return m_plays; }
  std::uint32_t timeBasePriority() override { return 100; }

  /// Returns the length of the next buffer, or of a pause if there is none, in milliseconds.
  std::uint32_t measureNext() {
    const std::lock_guard guard(m_lock);
    _Variant answer{};
    if (!m_plays || !m_peer->readQuery(PortQuery::kNextBuffer, &answer) || !answer.value) return 10;
    auto* buffer = reinterpret_cast<MediaBuffer*>(answer.value);  // with one reference
    const auto* samples = reinterpret_cast<const std::int16_t*>(buffer->lockData());
    for (std::uint32_t i = 0; i < buffer->bufferSize() / 2; ++i)
      if (const int level = std::abs(samples[i]); level > m_peak) m_peak = level;
    buffer->unlockData();
    m_session->reportBuffer(m_streamId, BufferState::kPlayed, buffer);
    const std::uint32_t durationMs = buffer->duration;
    buffer->release();
    m_measuredMs += durationMs;
    return durationMs;
  }
  std::mutex m_lock;
  GraphSessionInterface* m_session = nullptr;
  PortInterface* m_peer = nullptr;
  std::uint32_t m_streamId = 0;
  std::atomic<int> m_peak{0};
  std::atomic<std::uint32_t> m_measuredMs{0};
  std::atomic<bool> m_plays{false};
  std::jthread m_worker{[this](const std::stop_token& end) {  // last: it uses the others
    while (!end.stop_requested()) SleepMS(measureNext());     // with no lock held
  }};
};

extern "C" std::uint32_t getPlugin(PluginContext* context, Plugin** out) {
  *out = new Meter(context);
  return 0;
}
