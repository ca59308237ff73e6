// SPDX-License-Identifier: MIT

#include "platform/unit/UnitConfiguration.h"

#include <numeric>
#include <utility>

namespace Platform {

UnitConfiguration usualConfiguration(std::shared_ptr<Device> device) {
  UnitConfiguration usual;
  usual.format.sample.type = SampleType::F32;
  if (device) {
    const DeviceState state = device->state();
    const auto& streams = state.description.streams;
    if (!streams.empty()) {
      if (const auto first = parsePcm(streams.front().format)) {
        usual.format.channels = first->channels;
        usual.format.rate = first->rate;
      }
    }
  }
  usual.device = std::move(device);
  return usual;
}

std::vector<SInt32> effectiveChannelMap(const std::vector<SInt32>& map, std::uint32_t channels) {
  if (map.size() == channels) {
    return map;
  }
  std::vector<SInt32> identity(channels);
  std::iota(identity.begin(), identity.end(), 0);
  return identity;
}

}  // namespace Platform
