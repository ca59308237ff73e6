// SPDX-License-Identifier: MIT

#include "platform/drivers/alsa/AlsaChannels.h"

#include <algorithm>

#include "platform/format/ChannelNames.h"

namespace Platform {
namespace {

constexpr ChannelNames<unsigned> kNames = {
    SND_CHMAP_MONO, SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_FC, SND_CHMAP_LFE, SND_CHMAP_RC,
    SND_CHMAP_SL,   SND_CHMAP_SR, SND_CHMAP_RL, SND_CHMAP_RR, SND_CHMAP_FLC, SND_CHMAP_FRC};

Positions usualPositions(std::uint32_t channels) {
  if (channels == 1) {
    return {SND_CHMAP_MONO};
  }
  if (channels == 3) {
    return {SND_CHMAP_FL, SND_CHMAP_FR, SND_CHMAP_FC};
  }
  Positions positions = {SND_CHMAP_FL, SND_CHMAP_FR,  SND_CHMAP_RL, SND_CHMAP_RR,
                         SND_CHMAP_FC, SND_CHMAP_LFE, SND_CHMAP_SL, SND_CHMAP_SR};
  if (channels == 7) {
    positions[6] = SND_CHMAP_RC;
  }
  positions.resize(channels, SND_CHMAP_UNKNOWN);
  return positions;
}

bool holdsUsual(const Positions& positions) {
  const auto count = static_cast<std::uint32_t>(positions.size());
  const Labels labels = labelsOf(inLayersOrder(positions));
  return std::ranges::all_of(usualLabels(count), [&](AudioChannelLabel label) {
    return std::ranges::find(labels, label) != labels.end();
  });
}

}  // namespace

Positions positionsOf(const std::vector<Positions>& maps, std::uint32_t channels) {
  const Positions* chosen = nullptr;
  for (const Positions& map : maps) {
    if (map.size() == channels &&
        (chosen == nullptr || (!holdsUsual(*chosen) && holdsUsual(map)))) {
      chosen = &map;
    }
  }
  return chosen != nullptr ? *chosen : usualPositions(channels);
}

Positions inLayersOrder(Positions positions) {
  sortInLayersOrder(kNames, positions);
  return positions;
}

Labels labelsOf(const Positions& positions) { return labelsOf(kNames, positions); }

/// Channels of the same position, such as unknown ones, are assigned one after the other.
std::vector<std::size_t> orderFor(const Positions& ofPcm, const Positions& ofLayer) {
  std::vector<std::size_t> order;
  for (const unsigned position : ofPcm) {
    std::size_t index = 0;
    while (index < ofLayer.size() &&
           (ofLayer[index] != position || std::ranges::find(order, index) != order.end())) {
      ++index;
    }
    order.push_back(index);
  }
  return order;
}

}  // namespace Platform
