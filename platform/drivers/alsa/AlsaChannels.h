// SPDX-License-Identifier: MIT

#pragma once

/// ALSA's channel positions and this layer's labels.

#include <alsa/asoundlib.h>
#include <vector>

#include "platform/format/ChannelLayout.h"

namespace Platform {

using Positions = std::vector<unsigned>;  // snd_pcm_chmap_position, one per channel

/// Returns the positions for a channel count, in the PCM's order: of its maps for this count the
/// first with the usual channels, else the first one, else ALSA's usual order.
Positions positionsOf(const std::vector<Positions>& maps, std::uint32_t channels);

/// Sorts into the layer's order, which clients use: L R C LFE, the rear centre, the surround pair
/// (at the sides if there are two), the rear pair, the centre pair, the rest.
Positions inLayersOrder(Positions positions);
Labels labelsOf(const Positions& positions);

/// Returns for each channel of the PCM the index of the layer's channel that goes to it.
std::vector<std::size_t> orderFor(const Positions& ofPcm, const Positions& ofLayer);

}  // namespace Platform
