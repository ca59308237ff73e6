// SPDX-License-Identifier: MIT

#pragma once

/// The formats that a PCM supports, queried while it is open, and the best of them for a unit.

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/drivers/alsa/Pcm.h"

namespace Platform {

/// The supported rates for one channel count and sample type.
struct Ability {
  SampleType type = SampleType::S16;
  std::uint32_t channels = 0;
  std::vector<std::uint32_t> rates{};  // the usual ones, the lowest, the highest; ascending
  bool anyBetween = false;             // all rates between them are supported, too

  bool takes(std::uint32_t rate) const;
  /// Returns the rate itself, else the next higher one, else the highest.
  std::uint32_t nearest(std::uint32_t rate) const;
};
using PcmCapabilities = std::vector<Ability>;

/// Queries up to eight channels, more only if the PCM has no fewer. Empty: nothing playable here.
PcmCapabilities abilitiesOf(snd_pcm_t* pcm);

bool canTake(const PcmCapabilities& abilities, const PcmFormat& format);

/// Returns `wanted` if supported; else as many channels, or more, or the most; of these the most
/// lossless type that supports the rate, else the most lossless. `abilities` must not be empty.
PcmFormat nearest(const PcmCapabilities& abilities, const PcmFormat& wanted);

}  // namespace Platform
