// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "player/media/Track.h"

namespace Player {

/// Reads a file as bursts, one for each of its undamaged AC-3 frames, cut to whole frames. Skips
/// and counts damaged ones; a change of rate ends the track. One thread at a time.
class BurstReader {
 public:
  virtual ~BurstReader() = default;

  /// Writes the next burst, of kBurstBytes; returns false at the end.
  virtual bool read(std::uint8_t* to) = 0;

  virtual const std::string& path() const = 0;

  /// Returns, at the end, why the track was not played as requested; empty if it was.
  virtual std::string problem() const = 0;
};

/// Reads a track whose coding is AC-3.
std::unique_ptr<BurstReader> readBursts(Track track, std::uint32_t rate);

}  // namespace Player
