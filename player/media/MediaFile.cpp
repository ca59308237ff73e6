// SPDX-License-Identifier: MIT

#include "player/media/MediaFile.h"

#include "player/media/FallbackFile.h"
#include "player/media/LosslessFile.h"
#include "player/media/MpegFile.h"

namespace Player {

std::unique_ptr<MediaFile> openMedia(const std::string& path) {
  if (std::unique_ptr<MediaFile> lossless = LosslessFile::open(path)) {
    return lossless;
  }
  if (std::unique_ptr<MediaFile> mpeg = MpegFile::open(path)) {
    return mpeg;
  }
  return openWithDecoders(path);
}

}  // namespace Player
