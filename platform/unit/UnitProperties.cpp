// SPDX-License-Identifier: MIT

#include "platform/unit/UnitProperties.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "platform/manager/DeviceManager.h"

namespace Platform {
namespace {

struct Known {
  AudioUnitPropertyID property;
  AudioUnitScope scope;
  bool writable;
};

constexpr std::array kKnown = {
    Known{kAudioUnitProperty_StreamFormat, kAudioUnitScope_Input, true},
    Known{kAudioUnitProperty_StreamFormat, kAudioUnitScope_Output, false},  // the device's
    Known{kAudioUnitProperty_Latency, kAudioUnitScope_Global, false},
    Known{kAudioUnitProperty_SetRenderCallback, kAudioUnitScope_Input, true},
    Known{kAudioOutputUnitProperty_CurrentDevice, kAudioUnitScope_Global, true},
    Known{kAudioOutputUnitProperty_ChannelMap, kAudioUnitScope_Output, true},
};

/// Returns what is wrong with an address, and sets whether it can be written.
OSStatus check(const UnitAddress& address, bool& writable) {
  if (std::ranges::find(kKnown, address.property, &Known::property) == kKnown.end()) {
    return kAudioUnitErr_InvalidProperty;
  }
  const auto found = std::ranges::find_if(kKnown, [&](const Known& known) {
    return known.property == address.property && known.scope == address.scope;
  });
  if (found == kKnown.end()) {
    return kAudioUnitErr_InvalidScope;
  }
  writable = found->writable;
  return address.element == 0 ? OSStatus{noErr} : OSStatus{kAudioUnitErr_InvalidElement};
}

template <class T>
std::vector<std::byte> bytesOf(std::span<const T> values) {
  const auto bytes = std::as_bytes(values);
  return {bytes.begin(), bytes.end()};
}

template <class T>
std::vector<std::byte> bytesOf(const T& value) {
  return bytesOf(std::span<const T>(&value, 1));
}

std::vector<std::byte> deviceFormat(const OutputUnit& unit) {
  AudioStreamBasicDescription format{};
  if (const auto device = unit.device()) {
    const DeviceState state = device->state();
    if (!state.description.streams.empty()) {
      format = state.description.streams.front().format;
    }
  }
  return bytesOf(format);
}

Float64 latencySeconds(const OutputUnit& unit) {
  const auto device = unit.device();
  if (!device) {
    return 0;
  }
  const Float64 rate = device->state().sampleRate();
  return rate > 0 ? device->latencyFrames() / rate : 0;
}

template <class T>
OSStatus withValue(std::span<const std::byte> bytes, auto use) {
  if (bytes.size() != sizeof(T)) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  T value;
  std::memcpy(&value, bytes.data(), sizeof value);
  return use(value);
}

OSStatus writeChannelMap(OutputUnit& unit, std::span<const std::byte> value) {
  if (value.size() % sizeof(SInt32) != 0) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  std::vector<SInt32> map(value.size() / sizeof(SInt32));
  std::memcpy(map.data(), value.data(), value.size());
  return unit.setChannelMap(map);
}

OSStatus writeDevice(OutputUnit& unit, AudioDeviceID id) {
  const auto device = DeviceManager::instance().device(id);
  return device ? unit.setDevice(device) : OSStatus{kAudioUnitErr_InvalidPropertyValue};
}

}  // namespace

UnitValue readUnitProperty(const OutputUnit& unit, const UnitAddress& address) {
  UnitValue value;
  value.status = check(address, value.writable);
  if (value.status != noErr) {
    return value;
  }
  switch (address.property) {
    case kAudioUnitProperty_StreamFormat:
      value.bytes =
          address.scope == kAudioUnitScope_Input ? bytesOf(unit.format()) : deviceFormat(unit);
      break;
    case kAudioUnitProperty_Latency:
      value.bytes = bytesOf(latencySeconds(unit));
      break;
    case kAudioUnitProperty_SetRenderCallback:
      value.bytes = bytesOf(unit.callback());
      break;
    case kAudioOutputUnitProperty_CurrentDevice: {
      const auto device = unit.device();
      value.bytes = bytesOf(device ? device->id() : AudioDeviceID{kAudioObjectUnknown});
      break;
    }
    default:
      value.bytes = bytesOf(std::span<const SInt32>(unit.channelMap()));
      break;
  }
  return value;
}

OSStatus writeUnitProperty(OutputUnit& unit, const UnitAddress& address,
                           std::span<const std::byte> value) {
  bool writable = false;
  if (const OSStatus status = check(address, writable); status != noErr) {
    return status;
  }
  if (!writable) {
    return kAudioUnitErr_PropertyNotWritable;
  }
  switch (address.property) {
    case kAudioUnitProperty_StreamFormat:
      return withValue<AudioStreamBasicDescription>(
          value, [&](const auto& format) { return unit.setFormat(format); });
    case kAudioUnitProperty_SetRenderCallback:
      return withValue<AURenderCallbackStruct>(
          value, [&](const auto& callback) { return unit.setCallback(callback); });
    case kAudioOutputUnitProperty_CurrentDevice:
      return withValue<AudioDeviceID>(value, [&](auto id) { return writeDevice(unit, id); });
    default:
      return writeChannelMap(unit, value);
  }
}

}  // namespace Platform
