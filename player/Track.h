#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "player/MediaFile.h"

namespace Player {

/// Which part of a file, in frames of it.
struct Cut {
  std::uint64_t start = 0;
  std::optional<std::uint64_t> length;  // none: to its end
};

/// An input that is about to be read.
struct Track {
  std::string path;
  std::unique_ptr<MediaFile> file;
  Cut cut;
};

}  // namespace Player
