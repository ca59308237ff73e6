// SPDX-License-Identifier: MIT

#pragma once

#include <AudioUnit/AudioUnit.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/device/Device.h"
#include "platform/format/PcmFormat.h"

namespace Platform {

/// What an output unit is set to. Plain data.
struct UnitConfiguration {
  PcmFormat format;
  AURenderCallbackStruct callback{};
  std::shared_ptr<Device> device;
  std::vector<SInt32> channelMap;  // identity unless of the device's channel count
  bool followsDefault = true;
};

/// Returns the configuration of a new unit: 32-bit float with the device's channels and rate.
UnitConfiguration usualConfiguration(std::shared_ptr<Device> device);

/// Returns `map` if it has an entry per channel, otherwise the identity.
std::vector<SInt32> effectiveChannelMap(const std::vector<SInt32>& map, std::uint32_t channels);

}  // namespace Platform
