#pragma once

/// ALSA's words for channels, and this layer's.

#include <alsa/asoundlib.h>
#include <vector>

#include "platform/format/ChannelLayout.h"

namespace Platform {

using Positions = std::vector<unsigned>;  // snd_pcm_chmap_position, one per channel

/// For so many channels: of the maps that the PCM has, the first that holds the usual channels,
/// else its first one, else ALSA's usual order. In the order of the PCM.
Positions positionsOf(const std::vector<Positions>& maps, std::uint32_t channels);

/// In the layer's order, in which whoever plays has them: L R C LFE, the centre of the rear, the
/// surround pair (at the sides where there are two), the rear pair, the centre pair, the rest.
Positions inLayersOrder(Positions positions);
Labels labelsOf(const Positions& positions);

/// Which channel, in the layer's order, goes to each of the PCM's.
std::vector<std::size_t> orderFor(const Positions& ofPcm, const Positions& ofLayer);

}  // namespace Platform
