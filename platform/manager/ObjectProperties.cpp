// SPDX-License-Identifier: MIT

#include "platform/manager/ObjectProperties.h"

#include <cstring>
#include <optional>

#include "platform/device/Device.h"
#include "platform/format/ChannelLayout.h"
#include "platform/manager/DeviceManager.h"

namespace Platform {
namespace {

template <class T>
PropertyValue valueOf(const T& value) {
  const auto bytes = std::as_bytes(std::span(&value, 1));
  return {.bytes = {bytes.begin(), bytes.end()}};
}

template <class T>
PropertyValue arrayOf(const std::vector<T>& values) {
  const auto bytes = std::as_bytes(std::span(values));
  return {.bytes = {bytes.begin(), bytes.end()}, .elementBytes = sizeof(T)};
}

PropertyValue failed(OSStatus status) { return {.status = status}; }

bool isInScope(const AudioObjectPropertyAddress& address, AudioObjectPropertyScope narrower) {
  return address.mScope == kAudioObjectPropertyScopeGlobal || address.mScope == narrower;
}

PropertyValue readSystem(const AudioObjectPropertyAddress& address) {
  DeviceManager& manager = DeviceManager::instance();
  switch (address.mSelector) {
    case kAudioHardwarePropertyDevices: {
      std::vector<AudioDeviceID> ids;
      for (const auto& device : manager.devices()) {
        ids.push_back(device->id());
      }
      return arrayOf(ids);
    }
    case kAudioHardwarePropertyDefaultOutputDevice: {
      const auto device = manager.defaultDevice();
      return device ? valueOf(device->id()) : failed(kAudioHardwareUnspecifiedError);
    }
    case kAudioHardwarePropertyServiceRestarted:
      return valueOf(UInt32{0});
    default:
      return failed(kAudioHardwareUnknownPropertyError);
  }
}

PropertyValue readOutputSide(const Device& device, AudioObjectPropertySelector selector) {
  switch (selector) {
    case kAudioDevicePropertyStreams:
      return arrayOf(device.streamIds());
    case kAudioDevicePropertyPreferredChannelLayout:
      return {.bytes = layoutRecord(device.state().description.labels)};
    case kAudioDevicePropertyLatency:
      return valueOf(UInt32{device.latencyFrames()});
    default:
      return failed(kAudioHardwareUnknownPropertyError);
  }
}

PropertyValue readDevice(const Device& device, const AudioObjectPropertyAddress& address) {
  switch (address.mSelector) {
    case kAudioDevicePropertyNominalSampleRate:
      return valueOf(Float64{device.state().nominalRate()});
    case kAudioDevicePropertyBufferFrameSize:
      return valueOf(UInt32{device.state().cycleFrames()});
    case kAudioDevicePropertyDeviceIsRunning:
      return valueOf(UInt32{device.hasClients()});
    case kAudioDevicePropertyDeviceIsAlive:
      return valueOf(UInt32{device.isAlive()});
    case kAudioDevicePropertyIOStoppedAbnormally:
      return valueOf(UInt32{device.watch().isStalled() || device.watch().isSuspended()});
    case kAudioDevicePropertyStreams:
      if (address.mScope == kAudioDevicePropertyScopeInput) {
        return arrayOf(std::vector<AudioStreamID>());
      }
      break;
    default:
      break;
  }
  return isInScope(address, kAudioDevicePropertyScopeOutput)
             ? readOutputSide(device, address.mSelector)
             : failed(kAudioHardwareUnknownPropertyError);
}

PropertyValue readStream(const DriverStream& stream, AudioObjectPropertySelector selector) {
  switch (selector) {
    case kAudioStreamPropertyPhysicalFormat:
      return valueOf(stream.format);
    case kAudioStreamPropertyAvailablePhysicalFormats:
      return arrayOf(stream.available);
    default:
      return failed(kAudioHardwareUnknownPropertyError);
  }
}

/// Returns the value if it has exactly the size of a T, otherwise nothing.
template <class T>
std::optional<T> exactly(std::span<const std::byte> bytes) {
  if (bytes.size() != sizeof(T)) {
    return {};
  }
  T value;
  std::memcpy(&value, bytes.data(), sizeof value);
  return value;
}

OSStatus writeSystem(const AudioObjectPropertyAddress& address, std::span<const std::byte> value) {
  if (address.mSelector != kAudioHardwarePropertyDefaultOutputDevice) {
    return kAudioHardwareUnsupportedOperationError;
  }
  const auto id = exactly<AudioDeviceID>(value);
  if (!id) {
    return kAudioHardwareBadPropertySizeError;
  }
  return DeviceManager::instance().choose(*id) ? OSStatus{noErr}
                                               : OSStatus{kAudioHardwareBadDeviceError};
}

OSStatus writeDevice(Device& device, const AudioObjectPropertyAddress& address,
                     std::span<const std::byte> value) {
  if (address.mSelector != kAudioDevicePropertyPreferredChannelLayout) {
    return kAudioHardwareUnsupportedOperationError;
  }
  const auto labels = labelsOfRecord(value);
  return labels ? device.setLayout(*labels) : OSStatus{kAudioHardwareBadPropertySizeError};
}

OSStatus writeStream(Device& device, std::size_t stream, const AudioObjectPropertyAddress& address,
                     std::span<const std::byte> value) {
  if (address.mSelector != kAudioStreamPropertyPhysicalFormat) {
    return kAudioHardwareUnsupportedOperationError;
  }
  const auto format = exactly<AudioStreamBasicDescription>(value);
  return format ? device.setFormat(stream, *format) : OSStatus{kAudioHardwareBadPropertySizeError};
}

}  // namespace

PropertyValue readObjectProperty(AudioObjectID object, const AudioObjectPropertyAddress& address) {
  if (object == kAudioObjectSystemObject) {
    return address.mElement == kAudioObjectPropertyElementMaster
               ? readSystem(address)
               : failed(kAudioHardwareUnknownPropertyError);
  }
  const auto device = DeviceManager::instance().device(object);
  const auto [owner, index] = DeviceManager::instance().stream(object);
  if (!device && !owner) {
    return failed(kAudioHardwareBadObjectError);
  }
  if (address.mElement != kAudioObjectPropertyElementMaster) {
    return failed(kAudioHardwareUnknownPropertyError);
  }
  return device ? readDevice(*device, address)
                : readStream(owner->state().description.streams[index], address.mSelector);
}

OSStatus writeObjectProperty(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> value) {
  const PropertyValue present = readObjectProperty(object, address);
  // The default device can be set while there is none.
  if (present.status != noErr && present.status != kAudioHardwareUnspecifiedError) {
    return present.status;
  }
  if (object == kAudioObjectSystemObject) {
    return writeSystem(address, value);
  }
  if (const auto device = DeviceManager::instance().device(object)) {
    return writeDevice(*device, address, value);
  }
  const auto [owner, index] = DeviceManager::instance().stream(object);
  return owner ? writeStream(*owner, index, address, value)
               : OSStatus{kAudioHardwareBadObjectError};
}

}  // namespace Platform
