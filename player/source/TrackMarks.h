#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "player/media/Track.h"

namespace Player {

/// Where the tracks of a stream begin, from the one that is being played to the last one opened.
class TrackMarks {
 public:
  struct Mark {
    std::uint64_t begin = 0;                // frame of the stream
    std::size_t position = 0;               // in the playlist
    std::optional<std::uint64_t> length{};  // frames, as far as the file says
  };

  /// Those that ended `heardWithin` frames ago and more are forgotten.
  explicit TrackMarks(std::uint64_t heardWithin) : m_heardWithin(heardWithin) {}

  /// A track begins, behind all the others.
  void add(std::uint64_t begin, const Track& track);

  /// Whose the frame is; none before the first track.
  const Mark* at(std::uint64_t frame) const;

  /// The tracks behind the frame's are not opened yet.
  void forgetBehind(std::uint64_t frame);

 private:
  const std::uint64_t m_heardWithin;
  std::deque<Mark> m_marks;
};

}  // namespace Player
