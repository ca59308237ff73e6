#include "coreaudio/CoreAudioOutput.h"
#include "output/Settings.h"

// The unit's parameter is the only store of the volume. A setting may change on one host thread
// while another tears the output down, which waits for the parameter's call.

namespace Tavro {
namespace {

constexpr float kPercent = 100.0F;

}  // namespace

/// The channel limit is not taken from changes: what counts is the device.
void CoreAudioOutput::settingChanged(const Setting& setting, _Variant* value) {
  if (isVolume(setting, value)) {
    setVolume(static_cast<std::uint8_t>(value->value));
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
  return static_cast<std::uint8_t>(static_cast<int>(gain * kPercent));
}

}  // namespace Tavro
