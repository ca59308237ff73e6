// SPDX-License-Identifier: MIT

#include <new>

#include "coreaudio/CoreAudioOutput.h"

// The property write: the only way to build an output. It holds the configuration lock throughout,
// so that the feeder does not pull and the connection does not change meanwhile.

namespace Tavro {

bool CoreAudioOutput::CoreAudioPort::configure(_Variant* value, bool passthrough) try {
  if (value == nullptr || value->type != VariantType::kObject || value->value == 0) {
    return false;
  }
  const auto& wanted = *reinterpret_cast<const AudioProperties*>(value->value);
  const ComponentLock lock(m_owner->m_configLock);
  if (m_owner->m_feed.m_session == nullptr) {
    return false;  // nothing is stored, so that the same write succeeds once there is a session
  }
  if (passthrough == m_passthrough && wanted.m_channels == m_properties.m_channels &&
      wanted.m_sampleRate == m_properties.m_sampleRate) {
    return false;
  }
  const WideString& bitsText = m_owner->bitsPerSampleText(wanted.m_bitsPerSample);
  m_passthrough = passthrough;
  m_properties = wanted;

  const bool wasRunning = m_owner->isRunning();
  m_owner->teardown();
  if (m_owner->buildGraph(passthrough) != noErr) {
    return false;
  }
  m_owner->reset();
  m_owner->applySessionVolume();
  if (wasRunning) {
    m_owner->start();
  }
  m_owner->publishBitsPerSample(bitsText);
  return true;
} catch (const std::bad_alloc&) {
  return false;  // nothing has changed yet: the same write may succeed later
}

bool CoreAudioOutput::isRunning() {
  const GraphUse use(*this);
  Boolean running = 0;
  return use.graph() != nullptr && AUGraphIsRunning(use.graph(), &running) == noErr && running != 0;
}

}  // namespace Tavro
