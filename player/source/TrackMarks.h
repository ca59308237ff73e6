// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "player/media/Track.h"

namespace Player {

/// Where the tracks of a stream begin, from the one that is playing to the last one opened.
class TrackMarks {
 public:
  struct Mark {
    std::uint64_t begin = 0;                // frame of the stream
    std::size_t position = 0;               // in the playlist
    std::optional<std::uint64_t> length{};  // frames, as far as the file declares it
  };

  /// Forgets tracks that ended more than `heardWithin` frames before the newest one begins.
  explicit TrackMarks(std::uint64_t heardWithin) : m_heardWithin(heardWithin) {}

  /// Adds a track after all others.
  void add(std::uint64_t begin, const Track& track);

  /// Returns the track of a frame; null before the first track.
  const Mark* at(std::uint64_t frame) const;

  /// Forgets the tracks after the frame's.
  void forgetBehind(std::uint64_t frame);

 private:
  const std::uint64_t m_heardWithin;
  std::deque<Mark> m_marks;
};

}  // namespace Player
