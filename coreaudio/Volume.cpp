// SPDX-License-Identifier: MIT

#include "coreaudio/CoreAudioOutput.h"
#include "output/Settings.h"

// Only the unit's parameter stores the volume. A setting may change on one host thread while
// another tears the output down; the teardown waits for the parameter's call.

namespace Tavro {
namespace {

constexpr float kPercent = 100.0F;
constexpr std::uint8_t kFullVolume = 100;

/// Returns true if the value can be converted: not a NaN, and within the range of a 32-bit int.
bool isInt(float value) { return value >= -0x1p31F && value < 0x1p31F; }

}  // namespace

/// Ignores changes of the channel limit: the device determines it.
void CoreAudioOutput::settingChanged(const Setting& setting, _Variant* value) {
  if (isVolume(setting, value)) {
    const auto volume = static_cast<std::uint8_t>(value->value);
    m_announcedVolume = ((m_announcedVolume >> 8) + 1) << 8 | volume;
    setVolume(volume);
  }
}

/// Applies the session's volume to a new unit. A change announced while it is read or set is newer
/// and overrides it.
void CoreAudioOutput::applySessionVolume() {
  std::uint32_t announced = m_announcedVolume;
  _Variant value{};
  const bool known = m_feed.m_session.load()->getSetting(m_volumeSetting, &value);
  setVolume(known && value.type == VariantType::kUInt8 ? static_cast<std::uint8_t>(value.value)
                                                       : kFullVolume);
  while (announced != m_announcedVolume) {
    announced = m_announcedVolume;
    setVolume(static_cast<std::uint8_t>(announced));
  }
}

bool CoreAudioOutput::setVolume(std::uint8_t volume) {
  const GraphUse use(*this);
  if (use.unit() == nullptr) {
    return true;
  }
  float gain = static_cast<float>(volume) / kPercent;
  if (static_cast<double>(gain) > 1.0) {
    gain = 1.0F;
  }
  return AudioUnitSetParameter(use.unit(), kHALOutputParam_Volume, kAudioUnitScope_Global, 0, gain,
                               0) == noErr;
}

std::uint8_t CoreAudioOutput::getVolume() {
  const GraphUse use(*this);
  float gain = 0.0F;
  if (use.unit() == nullptr || AudioUnitGetParameter(use.unit(), kHALOutputParam_Volume,
                                                     kAudioUnitScope_Global, 0, &gain) != noErr) {
    return 0;
  }
  // Rounds to single precision, whatever precision the processor computes in.
  const volatile float rounded = gain * kPercent;
  const float percent = rounded;
  return isInt(percent) ? static_cast<std::uint8_t>(static_cast<int>(percent)) : std::uint8_t{0};
}

}  // namespace Tavro
