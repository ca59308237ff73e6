// SPDX-License-Identifier: MIT

#pragma once

#include <CoreAudio/CoreAudio.h>

#include <cstdint>

namespace Player {

/// Properties of the audio service that the player reads and writes. [any-thread]

inline constexpr AudioObjectPropertyAddress kDefaultOutput{
    kAudioHardwarePropertyDefaultOutputDevice, kAudioObjectPropertyScopeGlobal,
    kAudioObjectPropertyElementMaster};

AudioDeviceID defaultDevice();  // kAudioObjectUnknown for none
OSStatus makeDefaultDevice(AudioDeviceID device);

/// Returns a device's UInt32 property of the output scope; 0 if it has none.
std::uint32_t numberOf(AudioDeviceID device, AudioObjectPropertySelector selector);
inline bool isSet(AudioDeviceID device, AudioObjectPropertySelector selector) {
  return numberOf(device, selector) != 0;
}

double nominalRate(AudioDeviceID device);  // in Hz; 0 if unknown

OSStatus setPhysicalFormat(AudioStreamID stream, const AudioStreamBasicDescription& format);

}  // namespace Player
