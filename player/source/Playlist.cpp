// SPDX-License-Identifier: MIT

#include "player/source/Playlist.h"

#include <algorithm>
#include <filesystem>
#include <utility>

#include "player/base/ProgramLog.h"
#include "player/media/InputKind.h"
#include "player/terminal/SignalHandler.h"

namespace Player {

Playlist::Playlist(const Options& options) : m_options(options) {
  for (const std::string& path : options.files) {
    if (std::unique_ptr<MediaFile> file = open(path)) {
      m_entries.push_back({path, file->format(), file->coding(), file->length(), file->title()});
      if (m_entries.size() == 1) {
        m_first = std::move(file);
      }
    }
  }
  m_end = m_entries.size() * options.loops;
}

void Playlist::passThrough(const Decision& decide) {
  for (Entry& entry : m_entries) {
    entry.passedThrough = decide(entry.path, entry.coding);
  }
}

bool Playlist::wouldDiffer(const Decision& decide) const {
  return std::any_of(m_entries.begin(), m_entries.end(), [&](const Entry& entry) {
    return entry.passedThrough != decide(entry.path, entry.coding);
  });
}

std::vector<StreamFormat> Playlist::decodedFormats() const {
  std::vector<StreamFormat> formats;
  for (const Entry& entry : m_entries) {
    if (!entry.passedThrough) {
      formats.push_back(entry.format);
    }
  }
  return formats;
}

bool Playlist::hasPassthrough() const {
  return std::any_of(m_entries.begin(), m_entries.end(),
                     [](const Entry& entry) { return entry.passedThrough; });
}

double Playlist::seconds() const {
  double seconds = 0;
  for (const Entry& entry : m_entries) {
    const TrackRange cut = cutFor(entry.format.rate);
    const std::uint64_t frames = entry.frames.value_or(0);
    const std::uint64_t left = frames > cut.start ? frames - cut.start : 0;
    seconds += static_cast<double>(std::min(left, cut.length.value_or(left))) / entry.format.rate;
  }
  return seconds * m_options.loops;
}

std::optional<StreamFormat> Playlist::nextFormat() const {
  if (m_next == m_end) {
    return std::nullopt;
  }
  return played(m_entries[m_next % m_entries.size()]);
}

std::optional<Track> Playlist::next(const StreamFormat& format) {
  while (nextFormat() == format) {
    const std::size_t position = m_next++;
    const Entry& entry = m_entries[position % m_entries.size()];
    std::unique_ptr<MediaFile> file = m_first ? std::move(m_first) : open(entry.path);
    if (file) {
      return Track{entry.path, std::move(file), cutFor(entry.format.rate), position};
    }
  }
  return std::nullopt;
}

AudioDevices::StreamName Playlist::nameOf(std::size_t position) const {
  const Entry& entry = m_entries[position % m_entries.size()];
  const std::string title =
      entry.title.empty() ? std::filesystem::path(entry.path).filename().string() : entry.title;
  return {title, title, entry.path};
}

void Playlist::report(const std::string& path, const std::string& problem) {
  if (SignalHandler::requested() ||  // reading was cut short then
      std::find(m_reported.begin(), m_reported.end(), path) != m_reported.end()) {
    return;
  }
  m_reported.push_back(path);
  logError(path + ": " + problem);
}

std::unique_ptr<MediaFile> Playlist::open(const std::string& path) {
  try {
    return openMedia(path);
  } catch (const InputError& error) {
    const std::string kind = kindOfOtherInput(path);
    report(path, kind.empty() ? error.what() : kind);
    return nullptr;
  }
}

StreamFormat Playlist::played(const Entry& entry) const {
  if (entry.passedThrough) {
    return burstsAt(entry.coding.rate);
  }
  StreamFormat played = entry.format;
  if (played.channels == 1 && m_limits.spreadsMono) {
    played.channels = 2;
  }
  played.channels = std::min(played.channels, m_limits.most);
  return played;
}

TrackRange Playlist::cutFor(std::uint32_t rate) const {
  TrackRange cut{framesOf(m_options.startNs, rate), std::nullopt};
  if (m_options.lengthNs) {
    cut.length = framesOf(*m_options.lengthNs, rate);
  }
  return cut;
}

}  // namespace Player
