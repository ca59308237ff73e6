// SPDX-License-Identifier: MIT

#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "player/media/MediaFile.h"

namespace Player {

/// A part of a file, in frames.
struct TrackRange {
  std::uint64_t start = 0;
  std::optional<std::uint64_t> length;  // none: to its end
  bool mayBeEmpty = false;              // which is then no fault of the file

  /// Returns why nothing was played of a file of this rate and length, in frames.
  std::string reasonForNothing(std::uint32_t rate, std::optional<std::uint64_t> whole) const {
    const auto seconds = [rate](std::uint64_t frames) {
      return static_cast<double>(frames) / rate;
    };
    return start == 0 || !whole ? "contains no audio"
                                : fmt::format("--start {:.6g}: the file ends at {:.6g} s",
                                              seconds(start), seconds(*whole));
  }

  /// Returns the cut without its first `frames`.
  TrackRange behind(std::uint64_t frames) const {
    TrackRange rest{start + frames, std::nullopt, mayBeEmpty || frames > 0};
    if (length) {
      rest.length = *length - std::min(*length, frames);
    }
    return rest;
  }
};

/// An input that is about to be read.
struct Track {
  std::string path;
  std::unique_ptr<MediaFile> file;
  TrackRange cut;
  std::size_t position = 0;  // in the playlist

  /// Returns the frames of the cut, as far as the file declares its length.
  std::optional<std::uint64_t> length() const {
    const std::optional<std::uint64_t> all = file->length();
    if (!all) {
      return cut.length;
    }
    const std::uint64_t rest = *all - std::min(*all, cut.start);
    return std::min(rest, cut.length.value_or(rest));
  }
};

}  // namespace Player
