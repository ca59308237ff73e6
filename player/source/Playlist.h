// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "player/base/Options.h"
#include "player/base/StreamFormat.h"
#include "player/media/Track.h"

namespace Player {

/// Channels that the output accepts.
struct ChannelLimits {
  std::uint32_t most = 8;
  bool spreadsMono = false;  // mono goes to two channels
};

/// The inputs in order, repeated as often as requested. The constructor opens each of them once, so
/// that unreadable ones are reported at once, and all formats are known before anything plays.
///
/// Used by one thread at a time: the host thread between streams, the decode thread within one.
class Playlist {
 public:
  explicit Playlist(const Options& options);

  bool isEmpty() const { return m_entries.empty(); }

  /// Passes through the inputs for which `decide` returns true. Until the first call, all are
  /// decoded.
  using Decision = std::function<bool(const std::string& path, const CodecInfo& coding)>;
  void passThrough(const Decision& decide);

  /// Returns whether `decide` differs from the last decision for any input.
  bool wouldDiffer(const Decision& decide) const;

  /// Returns the formats of all readable inputs that are decoded, in order.
  std::vector<StreamFormat> decodedFormats() const;

  bool hasPassthrough() const;

  /// Returns the total duration in seconds, as far as the inputs declare it.
  double seconds() const;

  void limit(const ChannelLimits& limits) { m_limits = limits; }

  /// Returns the format in which the next input is played; nullopt at the end.
  std::optional<StreamFormat> nextFormat() const;

  /// Returns the next input, if it continues in `format`.
  std::optional<Track> next(const StreamFormat& format);

  /// Position of next(), to return to if an input was not played, or must be played again.
  std::size_t position() const { return m_next; }
  void goTo(std::size_t position) { m_next = position; }

  /// Returns the name that a mixer should show for the input at a position. [any-thread]
  AudioDevices::StreamName nameOf(std::size_t position) const;

  /// Logs why an input was not (fully) played, once per input.
  void report(const std::string& path, const std::string& problem);

  /// Returns whether some input was not (fully) played.
  bool hadProblems() const { return !m_reported.empty(); }

 private:
  struct Entry {
    std::string path;
    StreamFormat format;
    CodecInfo coding;
    std::optional<std::uint64_t> frames;
    std::string title;
    bool passedThrough = false;
  };

  std::unique_ptr<MediaFile> open(const std::string& path);
  StreamFormat played(const Entry& entry) const;
  TrackRange cutFor(std::uint32_t rate) const;

  const Options& m_options;
  std::vector<Entry> m_entries;
  ChannelLimits m_limits;
  std::size_t m_next = 0;  // counts across all loops
  std::size_t m_end = 0;
  std::unique_ptr<MediaFile> m_first;   // opened already, for a quick start
  std::vector<std::string> m_reported;  // paths
};

}  // namespace Player
