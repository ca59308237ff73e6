#include "AlsaChannels.h"

#include <algorithm>
#include <array>

namespace Platform {
namespace {

struct Channel {
  unsigned position;
  AudioChannelLabel label;
};

// In the layer's order.
constexpr std::array kChannels = {
    Channel{SND_CHMAP_MONO, kAudioChannelLabel_Mono},
    Channel{SND_CHMAP_FL, kAudioChannelLabel_Left},
    Channel{SND_CHMAP_FR, kAudioChannelLabel_Right},
    Channel{SND_CHMAP_FC, kAudioChannelLabel_Center},
    Channel{SND_CHMAP_LFE, kAudioChannelLabel_LFEScreen},
    Channel{SND_CHMAP_RC, kAudioChannelLabel_CenterSurround},
    Channel{SND_CHMAP_SL, kAudioChannelLabel_LeftSurround},
    Channel{SND_CHMAP_SR, kAudioChannelLabel_RightSurround},
    Channel{SND_CHMAP_RL, kAudioChannelLabel_RearSurroundLeft},
    Channel{SND_CHMAP_RR, kAudioChannelLabel_RearSurroundRight},
    Channel{SND_CHMAP_FLC, kAudioChannelLabel_LeftCenter},
    Channel{SND_CHMAP_FRC, kAudioChannelLabel_RightCenter},
};

std::size_t rankOf(unsigned position) {
  const auto found = std::ranges::find(kChannels, position, &Channel::position);
  return static_cast<std::size_t>(found - kChannels.begin());
}

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
  std::ranges::stable_sort(positions, {}, rankOf);
  return positions;
}

/// A lone pair behind is the surround pair.
Labels labelsOf(const Positions& positions) {
  const bool hasSides = std::ranges::find(positions, SND_CHMAP_SL) != positions.end();
  Labels labels;
  for (const unsigned position : positions) {
    if (!hasSides && position == SND_CHMAP_RL) {
      labels.push_back(kAudioChannelLabel_LeftSurround);
    } else if (!hasSides && position == SND_CHMAP_RR) {
      labels.push_back(kAudioChannelLabel_RightSurround);
    } else {
      const std::size_t rank = rankOf(position);
      labels.push_back(rank < kChannels.size() ? kChannels[rank].label
                                               : AudioChannelLabel{kAudioChannelLabel_Unknown});
    }
  }
  return labels;
}

/// Channels of one and the same position, unknown ones say, go one after the other.
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
