// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "player/base/StreamFormat.h"
#include "player/source/TrackMarks.h"

namespace Player {

/// A position in the played part of a track.
struct TrackPosition {
  std::size_t position = 0;  // in the playlist
  std::uint64_t ns = 0;
};

/// Target of a seek within a track.
struct Seek {
  std::int64_t ns = 0;    // not negative unless relative
  bool relative = false;  // to what the device consumed last; else to the track's start
};

/// Where a stream begins: in the middle of its first track, if that was partly played before.
struct Beginning {
  std::uint32_t stampMs = 0;
  std::optional<TrackPosition> spot;
};

/// Where a track is entered other than at its start.
struct EntryPoint {
  std::size_t position = 0;        // in the playlist
  std::uint64_t frameInTrack = 0;  // of the played part
  std::uint64_t frame = 0;         // of the stream
};

/// Which frame of the stream a buffer begins with, and to which track and graph time a frame
/// belongs. Guarded by the source's lock, except stampOf().
///
/// Time stamps are computed from the count of frames, so that no error accumulates. A seek sets
/// that count to the frame's position in its track, so that time and position agree.
class StreamTimeline {
 public:
  StreamTimeline(const StreamFormat& format, std::uint32_t framesPerBuffer,
                 const Beginning& beginning);

  /// Returns where the stream begins, unless it is at its first track's start.
  std::optional<EntryPoint> entry() const { return m_entry; }

  std::uint64_t frameOf(std::uint64_t buffer) const { return buffer * m_framesPerBuffer + m_shift; }

  /// Returns when a frame is due, in graph time. [any-thread]
  std::uint32_t stampOf(std::uint64_t frame) const;

  const TrackMarks::Mark* trackAt(std::uint64_t frame) const { return m_tracks.at(frame); }
  std::optional<TrackPosition> positionAt(std::uint64_t frame) const;

  /// Adds a track, whose played part begins at the stream's frame `begin`, after all others.
  void add(std::uint64_t begin, const Track& track) { m_tracks.add(begin, track); }

  /// Moves `buffer` to the target within the track that it is in, and forgets the tracks behind.
  /// Returns nothing and moves nothing if it is in none.
  std::optional<EntryPoint> seek(std::uint64_t buffer, const Seek& to);

 private:
  std::uint64_t targetIn(const TrackMarks::Mark& track, std::uint64_t from, const Seek& to) const;

  const StreamFormat m_format;
  const std::uint32_t m_framesPerBuffer;
  const std::optional<EntryPoint> m_entry;
  std::uint64_t m_shift;           // frames, modulo 2^64, by which seeks have moved the buffers
  const std::uint32_t m_originMs;  // of frame 0, which the stream need not contain
  TrackMarks m_tracks;
};

}  // namespace Player
