// SPDX-License-Identifier: MIT

#pragma once

#include <sndfile.h>

#include <cstdint>
#include <memory>
#include <string>

#include "player/media/FallbackFile.h"

namespace Player {

/// Reads an intact WAV or FLAC file by libsndfile. Its length is the header's.
class LosslessFile final : public FallbackFile {
 public:
  /// Returns null if the file is for the decoders.
  static std::unique_ptr<LosslessFile> open(const std::string& path);

  std::string title() const override;

 private:
  struct Close {
    void operator()(SNDFILE* file) const { sf_close(file); }
  };
  using File = std::unique_ptr<SNDFILE, Close>;

  LosslessFile(const std::string& path, File file, const SF_INFO& info, const CodecInfo& coding,
               SampleType type);
  Read read(void* to, std::size_t frames) override;
  bool moveTo(std::uint64_t frame) override;

  const File m_file;
};

}  // namespace Player
