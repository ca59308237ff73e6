// SPDX-License-Identifier: MIT

// The exported functions of objects and devices: check the pointers, look up scripted values, and
// forward the call.

#include <CoreAudio/AudioHardware.h>

#include <algorithm>
#include <cstring>
#include <optional>

#include "platform/api/CallInterceptor.h"
#include "platform/manager/IoProcedure.h"
#include "platform/manager/ObjectProperties.h"
#include "platform/manager/PropertyListeners.h"

using Platform::CallData;
using Platform::exported;
using Platform::OnFailure;

namespace {

const AudioObjectPropertyAddress& orNone(const AudioObjectPropertyAddress* address) {
  static constexpr AudioObjectPropertyAddress none{};
  return address != nullptr ? *address : none;
}

OSStatus sizeOf(AudioObjectID object, const AudioObjectPropertyAddress& address, UInt32& size) {
  if (const auto answer = Platform::scriptedObjectProperty(object, address.mSelector)) {
    size = answer->claimedBytes.value_or(static_cast<UInt32>(answer->bytes.size()));
    return answer->claimedBytes ? noErr : answer->status;
  }
  const auto value = Platform::readObjectProperty(object, address);
  size = static_cast<UInt32>(value.bytes.size());
  return value.status;
}

OSStatus dataOf(AudioObjectID object, const AudioObjectPropertyAddress& address, UInt32& size,
                void* data) {
  if (const auto answer = Platform::scriptedObjectProperty(object, address.mSelector)) {
    std::copy_n(answer->bytes.begin(), std::min<std::size_t>(size, answer->bytes.size()),
                static_cast<std::uint8_t*>(data));
    size = static_cast<UInt32>(answer->bytes.size());
    return answer->status;
  }
  const auto value = Platform::readObjectProperty(object, address);
  if (value.status != noErr) {
    return value.status;
  }
  std::size_t count = value.bytes.size();
  if (count > size) {
    if (value.elementBytes == 0) {
      return kAudioHardwareBadPropertySizeError;
    }
    count = size / value.elementBytes * value.elementBytes;
  }
  std::copy_n(value.bytes.begin(), count, static_cast<std::byte*>(data));
  size = static_cast<UInt32>(count);
  return noErr;
}

OSStatus withListener(AudioObjectID object, const AudioObjectPropertyAddress* address,
                      AudioObjectPropertyListenerProc procedure, void* clientData,
                      void (*apply)(const Platform::PropertyListener&)) {
  if (address == nullptr || procedure == nullptr) {
    return kAudioHardwareIllegalOperationError;
  }
  apply({object, address->mSelector, procedure, clientData});
  return noErr;
}

}  // namespace

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress,
                                        UInt32 /*inQualifierDataSize*/,
                                        const void* /*inQualifierData*/, UInt32* outDataSize) {
  const auto work = [&]() -> OSStatus {
    if (inAddress == nullptr || outDataSize == nullptr) {
      return kAudioHardwareIllegalOperationError;
    }
    return sizeOf(inObjectID, *inAddress, *outDataSize);
  };
  const auto& address = orNone(inAddress);
  return exported("AudioObjectGetPropertyDataSize", OnFailure::DoNothing, {}, work, inObjectID,
                  address.mSelector, address.mScope, address.mElement, outDataSize);
}

OSStatus AudioObjectGetPropertyData(AudioObjectID inObjectID,
                                    const AudioObjectPropertyAddress* inAddress,
                                    UInt32 /*inQualifierDataSize*/, const void* /*inQualifierData*/,
                                    UInt32* ioDataSize, void* outData) {
  const auto work = [&]() -> OSStatus {
    if (inAddress == nullptr || ioDataSize == nullptr || (outData == nullptr && *ioDataSize != 0)) {
      return kAudioHardwareIllegalOperationError;
    }
    return dataOf(inObjectID, *inAddress, *ioDataSize, outData);
  };
  const auto& address = orNone(inAddress);
  return exported("AudioObjectGetPropertyData", OnFailure::DoNothing, {}, work, inObjectID,
                  address.mSelector, address.mScope, address.mElement,
                  ioDataSize != nullptr ? *ioDataSize : 0, outData);
}

OSStatus AudioObjectSetPropertyData(AudioObjectID inObjectID,
                                    const AudioObjectPropertyAddress* inAddress,
                                    UInt32 /*inQualifierDataSize*/, const void* /*inQualifierData*/,
                                    UInt32 inDataSize, const void* inData) {
  const auto work = [&]() -> OSStatus {
    if (inAddress == nullptr || (inData == nullptr && inDataSize != 0)) {
      return kAudioHardwareIllegalOperationError;
    }
    return Platform::writeObjectProperty(inObjectID, *inAddress,
                                         {static_cast<const std::byte*>(inData), inDataSize});
  };
  const auto& address = orNone(inAddress);
  return exported("AudioObjectSetPropertyData", OnFailure::DoNothing,
                  CallData{.bytes = inData, .count = inDataSize}, work, inObjectID,
                  address.mSelector, address.mScope, address.mElement, inDataSize);
}

OSStatus AudioObjectAddPropertyListener(AudioObjectID inObjectID,
                                        const AudioObjectPropertyAddress* inAddress,
                                        AudioObjectPropertyListenerProc inListener,
                                        void* inClientData) {
  return exported(
      "AudioObjectAddPropertyListener", OnFailure::DoNothing, {},
      [&] {
        return withListener(inObjectID, inAddress, inListener, inClientData, Platform::addListener);
      },
      inObjectID, orNone(inAddress).mSelector, inListener, inClientData);
}

OSStatus AudioObjectRemovePropertyListener(AudioObjectID inObjectID,
                                           const AudioObjectPropertyAddress* inAddress,
                                           AudioObjectPropertyListenerProc inListener,
                                           void* inClientData) {
  return exported(
      "AudioObjectRemovePropertyListener", OnFailure::WorkFirst, {},
      [&] {
        return withListener(inObjectID, inAddress, inListener, inClientData,
                            Platform::removeListener);
      },
      inObjectID, orNone(inAddress).mSelector, inListener, inClientData);
}

OSStatus AudioDeviceCreateIOProcID(AudioObjectID inDevice, AudioDeviceIOProc inProc,
                                   void* inClientData, AudioDeviceIOProcID* outIOProcID) {
  return exported(
      "AudioDeviceCreateIOProcID", OnFailure::DoNothing, {},
      [&] { return Platform::createIoProcedure(inDevice, inProc, inClientData, outIOProcID); },
      inDevice, inProc, inClientData, outIOProcID);
}

OSStatus AudioDeviceDestroyIOProcID(AudioObjectID inDevice, AudioDeviceIOProcID inIOProcID) {
  return exported(
      "AudioDeviceDestroyIOProcID", OnFailure::WorkFirst, {},
      [&] { return Platform::destroyIoProcedure(inDevice, inIOProcID); }, inDevice, inIOProcID);
}

OSStatus AudioDeviceStart(AudioObjectID inDevice, AudioDeviceIOProcID inProcID) {
  return exported(
      "AudioDeviceStart", OnFailure::DoNothing, {},
      [&] { return Platform::startIoProcedure(inDevice, inProcID); }, inDevice, inProcID);
}

OSStatus AudioDeviceStop(AudioObjectID inDevice, AudioDeviceIOProcID inProcID) {
  return exported(
      "AudioDeviceStop", OnFailure::WorkFirst, {},
      [&] { return Platform::stopIoProcedure(inDevice, inProcID); }, inDevice, inProcID);
}
