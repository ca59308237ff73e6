// SPDX-License-Identifier: MIT

// The exported functions of units.

#include <AudioUnit/AudioUnit.h>

#include <algorithm>
#include <cstring>

#include "platform/api/CallInterceptor.h"
#include "platform/unit/Graph.h"
#include "platform/unit/UnitProperties.h"

using Platform::CallData;
using Platform::exported;
using Platform::OnFailure;
using Platform::UnitAddress;

namespace {

template <class Work>
OSStatus withUnit(AudioUnit handle, Work work) {
  const auto unit = Platform::findUnit(handle);
  return unit ? work(*unit) : OSStatus{kAudio_ParamError};
}

OSStatus infoOf(const Platform::OutputUnit& unit, const UnitAddress& address, UInt32* size,
                Boolean* writable) {
  auto value = Platform::readUnitProperty(unit, address);
  auto bytes = static_cast<UInt32>(value.bytes.size());
  if (const auto answer = Platform::scriptedUnitProperty(address.property)) {
    bytes = answer->claimedBytes.value_or(static_cast<UInt32>(answer->bytes.size()));
    value.status = answer->claimedBytes ? noErr : answer->status;
  }
  if (value.status == noErr && size != nullptr) {
    *size = bytes;
  }
  if (value.status == noErr && writable != nullptr) {
    *writable = value.writable ? 1 : 0;
  }
  return value.status;
}

OSStatus valueOf(const Platform::OutputUnit& unit, const UnitAddress& address, void* data,
                 UInt32& size) {
  if (const auto answer = Platform::scriptedUnitProperty(address.property)) {
    std::copy_n(answer->bytes.begin(), std::min<std::size_t>(size, answer->bytes.size()),
                static_cast<std::uint8_t*>(data));
    size = static_cast<UInt32>(answer->bytes.size());
    return answer->status;
  }
  const auto value = Platform::readUnitProperty(unit, address);
  if (value.status != noErr) {
    return value.status;
  }
  if (size < value.bytes.size()) {
    return kAudioUnitErr_InvalidPropertyValue;
  }
  std::copy(value.bytes.begin(), value.bytes.end(), static_cast<std::byte*>(data));
  size = static_cast<UInt32>(value.bytes.size());
  return noErr;
}

OSStatus checkVolume(AudioUnitParameterID parameter, AudioUnitScope scope,
                     AudioUnitElement element) {
  if (parameter != kHALOutputParam_Volume) {
    return kAudioUnitErr_InvalidParameter;
  }
  if (scope != kAudioUnitScope_Global) {
    return kAudioUnitErr_InvalidScope;
  }
  return element == 0 ? OSStatus{noErr} : OSStatus{kAudioUnitErr_InvalidElement};
}

}  // namespace

OSStatus AudioUnitGetPropertyInfo(AudioUnit inUnit, AudioUnitPropertyID inID,
                                  AudioUnitScope inScope, AudioUnitElement inElement,
                                  UInt32* outDataSize, Boolean* outWritable) {
  const auto work = [&] {
    return withUnit(inUnit, [&](const auto& unit) {
      return infoOf(unit, {inID, inScope, inElement}, outDataSize, outWritable);
    });
  };
  return exported("AudioUnitGetPropertyInfo", OnFailure::DoNothing, {}, work, inUnit, inID, inScope,
                  inElement, outDataSize, outWritable);
}

OSStatus AudioUnitGetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, void* outData, UInt32* ioDataSize) {
  const auto work = [&]() -> OSStatus {
    if (outData == nullptr || ioDataSize == nullptr) {
      return kAudio_ParamError;
    }
    return withUnit(inUnit, [&](const auto& unit) {
      return valueOf(unit, {inID, inScope, inElement}, outData, *ioDataSize);
    });
  };
  return exported("AudioUnitGetProperty", OnFailure::DoNothing, {}, work, inUnit, inID, inScope,
                  inElement, outData, ioDataSize != nullptr ? *ioDataSize : 0);
}

OSStatus AudioUnitSetProperty(AudioUnit inUnit, AudioUnitPropertyID inID, AudioUnitScope inScope,
                              AudioUnitElement inElement, const void* inData, UInt32 inDataSize) {
  const auto work = [&]() -> OSStatus {
    if (inData == nullptr && inDataSize != 0) {
      return kAudio_ParamError;
    }
    return withUnit(inUnit, [&](auto& unit) {
      return Platform::writeUnitProperty(unit, {inID, inScope, inElement},
                                         {static_cast<const std::byte*>(inData), inDataSize});
    });
  };
  return exported("AudioUnitSetProperty", OnFailure::DoNothing,
                  CallData{.bytes = inData, .count = inDataSize}, work, inUnit, inID, inScope,
                  inElement, inDataSize);
}

OSStatus AudioUnitGetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue* outValue) {
  const auto work = [&]() -> OSStatus {
    if (outValue == nullptr) {
      return kAudio_ParamError;
    }
    return withUnit(inUnit, [&](const auto& unit) {
      const OSStatus status = checkVolume(inID, inScope, inElement);
      if (status == noErr) {
        *outValue = unit.gain();
      }
      return status;
    });
  };
  return exported("AudioUnitGetParameter", OnFailure::DoNothing, {}, work, inUnit, inID, inScope,
                  inElement, outValue);
}

OSStatus AudioUnitSetParameter(AudioUnit inUnit, AudioUnitParameterID inID, AudioUnitScope inScope,
                               AudioUnitElement inElement, AudioUnitParameterValue inValue,
                               UInt32 inBufferOffsetInFrames) {
  const auto work = [&] {
    return withUnit(inUnit, [&](auto& unit) -> OSStatus {
      if (const OSStatus status = checkVolume(inID, inScope, inElement); status != noErr) {
        return status;
      }
      if (!(inValue >= 0.0F && inValue <= 1.0F)) {
        return kAudioUnitErr_InvalidParameter;
      }
      unit.setGain(inValue);
      return noErr;
    });
  };
  return exported("AudioUnitSetParameter", OnFailure::DoNothing,
                  CallData{.bytes = &inValue, .count = sizeof inValue}, work, inUnit, inID, inScope,
                  inElement, inBufferOffsetInFrames);
}

OSStatus AudioUnitReset(AudioUnit inUnit, AudioUnitScope inScope, AudioUnitElement inElement) {
  const auto work = [&] {
    return withUnit(inUnit, [&](auto& unit) -> OSStatus {
      if (inScope > kAudioUnitScope_Output) {
        return kAudioUnitErr_InvalidScope;
      }
      return inElement == 0 ? unit.reset() : OSStatus{kAudioUnitErr_InvalidElement};
    });
  };
  return exported("AudioUnitReset", OnFailure::DoNothing, {}, work, inUnit, inScope, inElement);
}
