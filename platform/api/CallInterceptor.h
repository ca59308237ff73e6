// SPDX-License-Identifier: MIT

#pragma once

/// Results that a test has scripted for the exported functions, and the record of their calls.
/// Costs one relaxed load per call while a test has requested nothing.

#include <AudioDevices/ScriptedDevice.h>
#include <AudioUnit/AudioUnit.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <new>
#include <optional>
#include <type_traits>

namespace Platform {

/// Begins the record of one call; destroyed when the call is over.
class InterceptedCall {
 public:
  InterceptedCall(const char* name, std::initializer_list<std::int64_t> arguments, const void* data,
                  std::size_t dataBytes);
  std::optional<OSStatus> failure() const { return m_failure; }
  OSStatus finish(OSStatus status) const;

 private:
  std::optional<OSStatus> m_failure;
  std::uint64_t m_epoch = 0;
  std::size_t m_index = 0;
};

bool isScripted();

/// Returns the scripted replacement for a property's value, or nothing if there is none.
std::optional<AudioDevices::Script::Answer> scriptedObjectProperty(AudioObjectID object,
                                                                   AudioObjectPropertySelector);
std::optional<AudioDevices::Script::Answer> scriptedUnitProperty(AudioUnitPropertyID property);

template <class T>
std::int64_t asArgument(T value) {
  if constexpr (std::is_pointer_v<T>) {
    return static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(value));
  } else {
    return static_cast<std::int64_t>(value);
  }
}

/// Whether a scripted failure of a call replaces its work or comes after it: functions that release
/// something still release it.
enum class OnFailure : std::uint8_t { DoNothing, WorkFirst };

struct CallData {
  const void* bytes = nullptr;
  std::size_t count = 0;
};

/// Every exported function runs through here, so that no exception leaves it.
template <class Work, class... Arguments>
OSStatus exported(const char* name, OnFailure onFailure, CallData data, const Work& work,
                  Arguments... arguments) noexcept {
  try {
    if (!isScripted()) {
      return work();
    }
    const InterceptedCall call(name, {asArgument(arguments)...}, data.bytes, data.count);
    if (!call.failure()) {
      return call.finish(work());
    }
    if (onFailure == OnFailure::WorkFirst) {
      work();
    }
    return call.finish(*call.failure());
  } catch (const std::bad_alloc&) {
    return kAudio_MemFullError;
  }
}

}  // namespace Platform
