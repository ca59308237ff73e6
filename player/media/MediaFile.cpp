// SPDX-License-Identifier: MIT

#include "player/media/MediaFile.h"

#include "player/media/FallbackFile.h"
#include "player/media/LosslessFile.h"

namespace Player {

std::unique_ptr<MediaFile> openMedia(const std::string& path) {
  if (std::unique_ptr<MediaFile> lossless = LosslessFile::open(path)) {
    return lossless;
  }
  return openWithDecoders(path);
}

}  // namespace Player
