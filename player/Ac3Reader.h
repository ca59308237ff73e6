#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "player/BurstPacker.h"
#include "player/MediaFile.h"
#include "player/Track.h"

namespace Player {

/// One file as bursts, one for each of its undamaged AC-3 frames of one rate, cut to whole frames.
/// Damaged ones are left out and counted; a change of rate ends it. One thread at a time.
class Ac3Reader {
 public:
  Ac3Reader(Track track, std::uint32_t rate);

  /// Writes the next burst, of kBurstBytes; false at the end.
  bool read(std::uint8_t* to);

  const std::string& path() const { return m_track.path; }

  /// At the end: why the track was not played as it was asked for; empty if it was.
  std::string problem() const;

 private:
  std::optional<std::span<const std::uint8_t>> nextFrame();
  void pack(std::span<const std::uint8_t> frame, std::uint8_t* to);
  bool fetch();
  void leaveOut(const char* fault);

  Track m_track;
  const std::uint32_t m_rate;
  std::optional<BurstPacker> m_packer;
  std::span<const std::uint8_t> m_rest;  // of the file's current packet
  std::uint64_t m_position = 0;          // frames of sound, of the next AC-3 frame
  std::uint64_t m_read = 0;              // AC-3 frames
  std::uint64_t m_damaged = 0;
  std::string m_firstFault;
  std::string m_error;
};

}  // namespace Player
