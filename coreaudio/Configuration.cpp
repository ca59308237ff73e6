#include "coreaudio/CoreAudioOutput.h"
#include "output/Settings.h"

// The property write: the one way in which an output is built. The configuration lock is held from
// end to end, so that the feeder does not pull and nobody disconnects meanwhile.

namespace Tavro {
namespace {

constexpr std::uint8_t kFullVolume = 100;

std::uint8_t volumeOf(GraphSessionInterface* session) {
  _Variant value{};
  const bool known = session->getSetting(volumeSetting(), &value);
  return known && value.type == VariantType::kUInt8 ? static_cast<std::uint8_t>(value.value)
                                                    : kFullVolume;
}

}  // namespace

bool CoreAudioOutput::CoreAudioPort::configure(_Variant* value, bool passthrough) {
  if (value == nullptr || value->type != VariantType::kObject || value->value == 0) {
    return false;
  }
  const auto& wanted = *reinterpret_cast<const AudioProperties*>(value->value);
  const boost::recursive_mutex::scoped_lock lock(m_owner->m_configLock);
  if (m_owner->m_session == nullptr) {
    return false;  // nothing is kept, so that the same write succeeds once there is a session
  }
  const bool modeChanged = m_passthrough != passthrough;
  m_passthrough = passthrough;
  if (!modeChanged && wanted.m_channels == m_properties.m_channels &&
      wanted.m_sampleRate == m_properties.m_sampleRate) {
    return false;
  }
  m_properties = wanted;

  const bool wasRunning = m_owner->isGraphRunning();
  m_owner->teardown();
  if (m_owner->buildGraph(passthrough) != noErr) {
    return false;
  }
  m_owner->reset();
  m_owner->setVolume(volumeOf(m_owner->m_session));
  if (wasRunning) {
    m_owner->start();
  }
  m_owner->updateBitsPerSampleInfo(m_properties.m_bitsPerSample);
  return true;
}

bool CoreAudioOutput::isGraphRunning() {
  const GraphUse use(*this);
  Boolean running = 0;
  return use.graph() != nullptr && AUGraphIsRunning(use.graph(), &running) == noErr && running != 0;
}

}  // namespace Tavro
