#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "player/base/StreamFormat.h"

namespace Player {

/// An input that cannot be played; the text is the reason, without the file's name.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// How a file's audio is coded.
struct Coding {
  std::string codec;  // as the decoding libraries call it: "flac", "pcm_s16le", "ac3"
  std::uint32_t rate = 0;
  std::uint32_t channels = 0;
};

/// The first audio stream of a file. One thread at a time.
class MediaFile {
 public:
  virtual ~MediaFile() = default;

  /// The stream's own sample type, rate and channels, in the nearest shape that a plug-in takes.
  virtual const StreamFormat& format() const = 0;

  virtual const Coding& coding() const = 0;

  /// Frames that the file says it has; none if it does not say.
  virtual std::optional<std::uint64_t> length() const = 0;

  /// "Artist - Title" as far as the file says, or empty.
  virtual std::string title() const = 0;

  /// Goes to a frame at or before `target`, as near as is quick, and answers how many are to be
  /// left out from there. Before the first decode().
  virtual std::uint64_t seek(std::uint64_t target) = 0;

  /// Appends the next decoded piece as bytes of `target`, the same for all of the file; false at
  /// the end. What need not be changed is not: the same sample type, rate and channels come out bit
  /// for bit. Throws InputError.
  virtual bool decode(const StreamFormat& target, std::vector<std::uint8_t>& out) = 0;

  /// What was wrong with the stream as far as it was read; empty: nothing. After the end.
  virtual std::string damage() const = 0;
};

/// Joins what a file says; null: nothing.
inline std::string titleOf(const char* artist, const char* title) {
  if (title == nullptr) {
    return "";
  }
  return (artist != nullptr ? artist + std::string(" - ") : "") + title;
}

/// Throws InputError.
std::unique_ptr<MediaFile> openMedia(const std::string& path);

}  // namespace Player
