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

/// What the output takes of an input.
struct ChannelLimits {
  std::uint32_t most = 8;
  bool spreadsMono = false;  // mono goes to two channels
};

/// The inputs in their order, as often as asked for. All of them are opened once at first, so that
/// what cannot be read is told at once, and their formats are known before anything plays.
///
/// Used by one thread at a time: the host's between streams, the decode thread's within one.
class Playlist {
 public:
  explicit Playlist(const Options& options);

  bool isEmpty() const { return m_entries.empty(); }

  /// Decides which inputs are passed through as they are: those for which `decide` says so. Before
  /// anything plays, all are decoded.
  using Decision = std::function<bool(const std::string& path, const Coding& coding)>;
  void passThrough(const Decision& decide);

  /// Whether it would be another decision than the last one.
  bool wouldDiffer(const Decision& decide) const;

  /// The formats of all inputs that can be read and are decoded, in their order.
  std::vector<StreamFormat> decodedFormats() const;

  bool hasPassthrough() const;

  /// Seconds of everything, as far as the inputs say.
  double seconds() const;

  void limit(const ChannelLimits& limits) { m_limits = limits; }

  /// What the next input would be played as; none at the end.
  std::optional<StreamFormat> nextFormat() const;

  /// The next input, if it goes on in `format` without a change.
  std::optional<Track> next(const StreamFormat& format);

  /// Where next() is, to come back to when what it gave was not played, or is to be played again.
  std::size_t position() const { return m_next; }
  void goTo(std::size_t position) { m_next = position; }

  /// Returns how a mixer should call the input at a position. [any-thread]
  AudioDevices::StreamName nameOf(std::size_t position) const;

  /// Tells why an input was not (wholly) played, once for each.
  void report(const std::string& path, const std::string& problem);

  /// Some input was not (wholly) played.
  bool hadProblems() const { return !m_reported.empty(); }

 private:
  struct Entry {
    std::string path;
    StreamFormat format;
    Coding coding;
    std::optional<std::uint64_t> frames;
    std::string title;
    bool passedThrough = false;
  };

  std::unique_ptr<MediaFile> open(const std::string& path);
  StreamFormat played(const Entry& entry) const;
  Cut cutFor(std::uint32_t rate) const;

  const Options& m_options;
  std::vector<Entry> m_entries;
  ChannelLimits m_limits;
  std::size_t m_next = 0;  // counts through all the loops
  std::size_t m_end = 0;
  std::unique_ptr<MediaFile> m_first;   // opened already, for a quick start
  std::vector<std::string> m_reported;  // paths
};

}  // namespace Player
