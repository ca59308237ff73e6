#pragma once

/// Which formats a PCM takes, learned while it is open, and which of them serves a unit best.

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/drivers/alsa/Pcm.h"

namespace Platform {

/// With so many channels of such samples.
struct Ability {
  SampleType type = SampleType::S16;
  std::uint32_t channels = 0;
  std::vector<std::uint32_t> rates{};  // of the usual ones, and the lowest and the highest; rising
  bool anyBetween = false;             // it takes the rates between them, too

  bool takes(std::uint32_t rate) const;
  /// The rate itself, else the next higher one, else the highest.
  std::uint32_t nearest(std::uint32_t rate) const;
};
using Abilities = std::vector<Ability>;

/// Up to eight channels, more only of a PCM that has no fewer. Empty: nothing that is played here.
Abilities abilitiesOf(snd_pcm_t* pcm);

bool canTake(const Abilities& abilities, const PcmFormat& format);

/// `wanted` if it can be; else as many channels, or more; of these the type that keeps most of the
/// samples, at the rate if there is one that has it. There must be abilities.
PcmFormat nearest(const Abilities& abilities, const PcmFormat& wanted);

}  // namespace Platform
