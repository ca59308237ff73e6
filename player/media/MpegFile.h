// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <mpg123.h>
#include <string>

#include "player/media/FallbackFile.h"

namespace Player {

/// Reads an intact MP3 file by libmpg123. Its length is the one that the encoder wrote into the
/// first frame, without the encoder's padding.
class MpegFile final : public FallbackFile {
 public:
  /// Returns null if the file is for the decoders: it is not MP3, or has no length.
  static std::unique_ptr<MpegFile> open(const std::string& path);

  std::string title() const override;

 private:
  struct Close {
    void operator()(mpg123_handle* file) const { mpg123_delete(file); }
  };
  using File = std::unique_ptr<mpg123_handle, Close>;

  MpegFile(const std::string& path, File file, const CodecInfo& coding, std::uint64_t length);
  Read read(void* to, std::size_t frames) override;
  bool moveTo(std::uint64_t frame) override;

  const File m_file;
};

}  // namespace Player
