// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "player/base/StreamFormat.h"

namespace Player {

/// Thrown if an input cannot be played; what() is the reason, without the file's name.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// How a file's audio is coded.
struct CodecInfo {
  std::string codec;  // FFmpeg's name: "flac", "pcm_s16le", "ac3"
  std::uint32_t rate = 0;
  std::uint32_t channels = 0;
};

/// The played audio stream of a file. One thread at a time.
class MediaFile {
 public:
  virtual ~MediaFile() = default;

  /// Returns the stream's own sample type, rate and channels, as the nearest format that a plug-in
  /// accepts.
  virtual const StreamFormat& format() const = 0;

  virtual const CodecInfo& coding() const = 0;

  /// Returns the frames that the file declares; nullopt if it declares none.
  virtual std::optional<std::uint64_t> length() const = 0;

  /// Returns "Artist - Title" or "Title" as the file has them, or an empty string.
  virtual std::string title() const = 0;

  /// Seeks to a frame at or before `target`, as near as is fast, and returns how many frames to
  /// skip from there. Call before the first decode().
  virtual std::uint64_t seek(std::uint64_t target) = 0;

  /// Appends the next decoded piece as bytes of `target`, the same for all of the file; returns
  /// false at the end. Sample type, rate and channels that need no conversion are kept bit for bit.
  /// Throws InputError.
  virtual bool decode(const StreamFormat& target, std::vector<std::uint8_t>& out) = 0;

  /// Returns what was wrong with the stream as far as it was read, or an empty string. Call at the
  /// end.
  virtual std::string damage() const = 0;
};

/// Joins an artist and a title; null if the file has none.
inline std::string titleOf(const char* artist, const char* title) {
  if (title == nullptr) {
    return "";
  }
  return (artist != nullptr ? artist + std::string(" - ") : "") + title;
}

/// Throws InputError.
std::unique_ptr<MediaFile> openMedia(const std::string& path);

}  // namespace Player
