// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "player/base/StreamFormat.h"
#include "player/media/Track.h"

namespace Player {

/// Reads a file as the bytes of a stream, cut to the sample. One thread at a time.
class TrackReader {
 public:
  TrackReader(Track track, const StreamFormat& format);

  /// Reads up to `frames` and returns their count; fewer only at the end of the track.
  std::size_t read(std::uint8_t* to, std::size_t frames);

  const std::string& path() const { return m_path; }

  /// Returns, at the end, why the track was not played as requested; empty if it was.
  std::string problem() const;

 private:
  bool decodeMore();
  void leaveOutTheStart();

  std::string m_path;
  std::unique_ptr<MediaFile> m_file;
  const StreamFormat m_format;
  const std::uint32_t m_bytesPerFrame;
  std::uint64_t m_toSkip;                 // frames
  std::optional<std::uint64_t> m_toRead;  // frames
  const TrackRange m_cut;
  std::uint64_t m_framesRead = 0;
  std::vector<std::uint8_t> m_decoded;
  std::size_t m_position = 0;  // bytes of m_decoded already read
  bool m_atEnd = false;        // of the file
  std::string m_error;
};

}  // namespace Player
