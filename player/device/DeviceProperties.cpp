// SPDX-License-Identifier: MIT

#include "player/device/DeviceProperties.h"

namespace Player {

namespace {

AudioObjectPropertyAddress address(AudioObjectPropertySelector selector,
                                   AudioObjectPropertyScope scope) {
  return {selector, scope, kAudioObjectPropertyElementMaster};
}

/// Returns the property's value, or a zero if it cannot be read.
template <class Value>
Value valueOf(AudioObjectID object, const AudioObjectPropertyAddress& where) {
  Value value{};
  UInt32 size = sizeof(value);
  const OSStatus status = AudioObjectGetPropertyData(object, &where, 0, nullptr, &size, &value);
  return status == noErr ? value : Value{};
}

}  // namespace

AudioDeviceID defaultDevice() {
  static_assert(kAudioObjectUnknown == 0);
  return valueOf<AudioDeviceID>(kAudioObjectSystemObject, kDefaultOutput);
}

OSStatus makeDefaultDevice(AudioDeviceID device) {
  return AudioObjectSetPropertyData(kAudioObjectSystemObject, &kDefaultOutput, 0, nullptr,
                                    sizeof(device), &device);
}

std::uint32_t numberOf(AudioDeviceID device, AudioObjectPropertySelector selector) {
  return valueOf<UInt32>(device, address(selector, kAudioDevicePropertyScopeOutput));
}

double nominalRate(AudioDeviceID device) {
  return valueOf<Float64>(
      device, address(kAudioDevicePropertyNominalSampleRate, kAudioObjectPropertyScopeGlobal));
}

OSStatus setPhysicalFormat(AudioStreamID stream, const AudioStreamBasicDescription& format) {
  const AudioObjectPropertyAddress where =
      address(kAudioStreamPropertyPhysicalFormat, kAudioObjectPropertyScopeGlobal);
  return AudioObjectSetPropertyData(stream, &where, 0, nullptr, sizeof(format), &format);
}

}  // namespace Player
