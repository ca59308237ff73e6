// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "player/media/MediaFile.h"

namespace Player {

/// Reads an intact file by a small library, so that playback starts before the decoders would be
/// loaded. On a fault, or if channels must be mixed, it continues with the decoders.
class FallbackFile : public MediaFile {
 public:
  const StreamFormat& format() const override { return m_format; }
  const CodecInfo& coding() const override { return m_coding; }
  std::optional<std::uint64_t> length() const override { return m_length; }
  std::uint64_t seek(std::uint64_t target) override;
  bool decode(const StreamFormat& target, std::vector<std::uint8_t>& out) override;
  std::string damage() const override;

 protected:
  struct Read {
    std::size_t frames = 0;
    bool isFaulty = false;
  };

  FallbackFile(std::string path, const CodecInfo& coding, SampleType type, std::uint64_t length);

  /// Reads up to `frames` into `to`. Samples have 2 bytes if they are Int16, else 4; Int24 is in
  /// the upper three.
  virtual Read read(void* to, std::size_t frames) = 0;

  /// Makes `frame` the next to be read; returns false if that fails.
  virtual bool moveTo(std::uint64_t frame) = 0;

 private:
  bool canGive(const StreamFormat& target) const;
  bool continueWithDecoders(const StreamFormat& target, std::vector<std::uint8_t>& out);

  const std::string m_path;
  const CodecInfo m_coding;
  const StreamFormat m_format;
  const std::uint64_t m_length;   // frames
  const std::size_t m_bytesRead;  // of a sample
  std::vector<std::uint8_t> m_piece;
  std::uint64_t m_position = 0;           // frames
  std::unique_ptr<MediaFile> m_decoders;  // once they are in use
  bool m_isDamaged = false;               // from m_position on
  std::uint64_t m_toSkip = 0;             // frames of m_decoders
};

/// Opens `path` with the decoders. Throws InputError.
std::unique_ptr<MediaFile> openWithDecoders(const std::string& path);

}  // namespace Player
