// SPDX-License-Identifier: MIT

#pragma once

/// Properties of the system object, devices and streams, by address.

#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <span>
#include <vector>

namespace Platform {

struct PropertyValue {
  OSStatus status = noErr;
  std::vector<std::byte> bytes{};
  std::size_t elementBytes = 0;  // of an array, which a smaller buffer truncates; 0 otherwise
};

PropertyValue readObjectProperty(AudioObjectID object, const AudioObjectPropertyAddress& address);
OSStatus writeObjectProperty(AudioObjectID object, const AudioObjectPropertyAddress& address,
                             std::span<const std::byte> value);

}  // namespace Platform
