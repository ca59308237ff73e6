// SPDX-License-Identifier: MIT

#pragma once

#include <sndfile.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "player/media/MediaFile.h"

namespace Player {

/// Reads an intact WAV or FLAC file by libsndfile, which starts fastest, as no other library is
/// loaded. Its length is the header's. On a fault, or if channels must be mixed, it continues with
/// the decoders.
class LosslessFile final : public MediaFile {
 public:
  /// Returns null if the file is for the decoders.
  static std::unique_ptr<LosslessFile> open(const std::string& path);

  const StreamFormat& format() const override { return m_format; }
  const CodecInfo& coding() const override { return m_coding; }
  std::optional<std::uint64_t> length() const override { return m_length; }
  std::string title() const override;
  std::uint64_t seek(std::uint64_t target) override;
  bool decode(const StreamFormat& target, std::vector<std::uint8_t>& out) override;
  std::string damage() const override;

 private:
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };
  using File = std::unique_ptr<SNDFILE, Close>;

  LosslessFile(std::string path, File file, const SF_INFO& info, const CodecInfo& coding,
               SampleType type);
  bool canGive(const StreamFormat& target) const;
  std::size_t read();
  bool goOnByDecoders(const StreamFormat& target, std::vector<std::uint8_t>& out);

  const std::string m_path;
  const File m_file;
  const CodecInfo m_coding;
  const StreamFormat m_format;
  const std::uint64_t m_length;           // frames
  std::uint64_t m_position = 0;           // frames
  std::vector<std::uint8_t> m_piece;      // as libsndfile returns it
  std::unique_ptr<MediaFile> m_decoders;  // once they are in use
  bool m_isDamaged = false;               // from m_position on
  std::uint64_t m_toSkip = 0;             // frames of m_decoders
};

}  // namespace Player
