// SPDX-License-Identifier: MIT

#pragma once

/// Maps a sound system's channel names to this layer's labels and order. Each driver supplies its
/// own names, in the layer's order.

#include <algorithm>
#include <array>
#include <cstddef>
#include <vector>

#include "platform/format/ChannelLayout.h"

namespace Platform {

inline constexpr std::array<AudioChannelLabel, 12> kLabelsInOrder = {
    kAudioChannelLabel_Mono,
    kAudioChannelLabel_Left,
    kAudioChannelLabel_Right,
    kAudioChannelLabel_Center,
    kAudioChannelLabel_LFEScreen,
    kAudioChannelLabel_CenterSurround,
    kAudioChannelLabel_LeftSurround,  // at the side
    kAudioChannelLabel_RightSurround,
    kAudioChannelLabel_RearSurroundLeft,
    kAudioChannelLabel_RearSurroundRight,
    kAudioChannelLabel_LeftCenter,
    kAudioChannelLabel_RightCenter,
};

template <class Position>
using ChannelNames = std::array<Position, kLabelsInOrder.size()>;

/// Returns the place of a position in the layer's order; unknown ones come last.
template <class Position>
std::size_t rankOf(const ChannelNames<Position>& names, Position position) {
  return static_cast<std::size_t>(std::ranges::find(names, position) - names.begin());
}

template <class Position>
void sortInLayersOrder(const ChannelNames<Position>& names, std::vector<Position>& positions) {
  std::ranges::stable_sort(positions, {},
                           [&](Position position) { return rankOf(names, position); });
}

/// Labels a rear pair without a side pair as the surround pair.
template <class Position>
Labels labelsOf(const ChannelNames<Position>& names, const std::vector<Position>& positions) {
  constexpr std::size_t kSides = 6;
  constexpr std::size_t kRears = 8;
  const bool hasSides = std::ranges::find(positions, names[kSides]) != positions.end();
  Labels labels;
  for (const Position position : positions) {
    std::size_t rank = rankOf(names, position);
    if (!hasSides && (rank == kRears || rank == kRears + 1)) {
      rank -= kRears - kSides;
    }
    labels.push_back(rank < names.size() ? kLabelsInOrder[rank]
                                         : AudioChannelLabel{kAudioChannelLabel_Unknown});
  }
  return labels;
}

}  // namespace Platform
