#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "player/media/Track.h"

namespace Player {

/// One file as bursts, one for each of its undamaged AC-3 frames of one rate, cut to whole frames.
/// Damaged ones are left out and counted; a change of rate ends it. One thread at a time.
class BurstReader {
 public:
  virtual ~BurstReader() = default;

  /// Writes the next burst, of kBurstBytes; false at the end.
  virtual bool read(std::uint8_t* to) = 0;

  virtual const std::string& path() const = 0;

  /// At the end: why the track was not played as it was asked for; empty if it was.
  virtual std::string problem() const = 0;
};

/// Of a track whose coding is AC-3.
std::unique_ptr<BurstReader> readBursts(Track track, std::uint32_t rate);

}  // namespace Player
