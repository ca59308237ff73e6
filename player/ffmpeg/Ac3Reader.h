// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "player/ffmpeg/BurstPacker.h"
#include "player/ffmpeg/FfmpegFile.h"
#include "player/media/BurstReader.h"

namespace Player {

/// Reads the AC-3 frames of an FfmpegFile.
class Ac3Reader final : public BurstReader {
 public:
  Ac3Reader(Track track, std::uint32_t rate);

  bool read(std::uint8_t* to) override;
  const std::string& path() const override { return m_track.path; }
  std::string problem() const override;

 private:
  std::optional<std::span<const std::uint8_t>> nextFrame();
  void pack(std::span<const std::uint8_t> frame, std::uint8_t* to);
  bool fetch();
  void leaveOut(const char* fault);

  const Track m_track;
  FfmpegFile* const m_file;  // the track's; null if it is of another type
  const std::uint32_t m_rate;
  std::optional<BurstPacker> m_packer;
  std::span<const std::uint8_t> m_rest;  // of the file's current packet
  std::uint64_t m_position = 0;          // audio frames, of the next AC-3 frame
  std::uint64_t m_read = 0;              // AC-3 frames
  std::uint64_t m_damaged = 0;
  std::string m_firstFault;
  std::string m_error;
};

}  // namespace Player
