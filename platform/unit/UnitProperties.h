// SPDX-License-Identifier: MIT

#pragma once

/// Properties of the output unit, by identifier, scope and element.

#include <AudioUnit/AudioUnit.h>

#include <cstddef>
#include <span>
#include <vector>

#include "platform/unit/OutputUnit.h"

namespace Platform {

struct UnitAddress {
  AudioUnitPropertyID property;
  AudioUnitScope scope;
  AudioUnitElement element;
};

struct UnitValue {
  OSStatus status = noErr;
  std::vector<std::byte> bytes{};
  bool writable = false;
};

UnitValue readUnitProperty(const OutputUnit& unit, const UnitAddress& address);
OSStatus writeUnitProperty(OutputUnit& unit, const UnitAddress& address,
                           std::span<const std::byte> value);

}  // namespace Platform
