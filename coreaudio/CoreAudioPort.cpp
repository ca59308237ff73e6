// SPDX-License-Identifier: MIT

#include "coreaudio/CoreAudioOutput.h"

// Events and checks of the input port, which control playback. Unknown ones return true.

namespace Tavro {
namespace {

constexpr std::uint32_t kRecordsToStartOn = 3;

}  // namespace

bool CoreAudioOutput::CoreAudioPort::sendEvent(unsigned id, _Variant* value) {
  switch (id) {
    case PortEvent::kConnect:
      connect(reinterpret_cast<PortInterface*>(value->value));
      return true;
    case PortEvent::kDisconnect:
      disconnect();
      return true;
    case PortEvent::kStop:
      return m_owner->stop() == noErr;
    case PortEvent::kStart:
      m_owner->start();
      return true;
    case PortEvent::kFlush:
    case PortEvent::kFlushAgain:
      return m_owner->reset() == noErr;
    default:
      return true;
  }
}

/// The lock makes the feeder first finish a query of the previous peer, which is then never called
/// again.
void CoreAudioOutput::CoreAudioPort::connect(PortInterface* peer) {
  m_owner->teardown();
  const ComponentLock lock(m_owner->m_configLock);
  m_peer = peer;
}

void CoreAudioOutput::CoreAudioPort::disconnect() {
  m_owner->teardown();
  const ComponentLock lock(m_owner->m_configLock);
  m_peer = nullptr;
  m_format = nullptr;
}

bool CoreAudioOutput::CoreAudioPort::checkEvent(unsigned id, _Variant* /*value*/) {
  return id != PortCheck::kReady || isReady();
}

/// Also makes the feeder start to fill the queue.
bool CoreAudioOutput::CoreAudioPort::isReady() {
  const CallbackLock lock(m_owner->m_feed.m_queueLock);
  m_owner->m_feed.m_playing = true;
  const bool filled = m_owner->m_feed.queuedCount() >= kRecordsToStartOn;
  return filled && (m_owner->m_passthroughActive || m_owner->m_graph != nullptr);
}

bool CoreAudioOutput::CoreAudioPort::readQuery(unsigned id, _Variant* value) {
  if (id != PortQuery::kMaximumChannels || value == nullptr) {
    return false;
  }
  value->type = VariantType::kUInt32;
  value->value = m_owner->maximumChannels();
  return true;
}

bool CoreAudioOutput::CoreAudioPort::writeQuery(unsigned id, _Variant* value) {
  switch (id) {
    case PortQuery::kConfigurePcm:
      return configure(value, false);
    case PortQuery::kConfigurePassthrough:
      return configure(value, true);
    default:
      return false;
  }
}

}  // namespace Tavro
