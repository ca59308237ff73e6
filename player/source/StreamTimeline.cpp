// SPDX-License-Identifier: MIT

#include "player/source/StreamTimeline.h"

#include <algorithm>
#include <cstdlib>

namespace Player {

namespace {

// More than a component and a device hold together.
constexpr std::uint64_t kHeardWithinSeconds = 10;

std::uint32_t millisecondsOf(std::uint64_t frame, std::uint32_t rate) {
  return static_cast<std::uint32_t>(frame / rate * 1000 + frame % rate * 1000 / rate);
}

/// Rounds down to a whole burst.
std::uint64_t wholeFrame(const StreamFormat& format, std::uint64_t frame) {
  return format.bursts ? frame - frame % kFramesPerBurst : frame;
}

std::optional<EntryPoint> entryOf(const StreamFormat& format, const Beginning& beginning) {
  if (!beginning.spot) {
    return std::nullopt;
  }
  const std::uint64_t frame = wholeFrame(format, framesOf(beginning.spot->ns, format.rate));
  return EntryPoint{beginning.spot->position, frame, frame};
}

}  // namespace

StreamTimeline::StreamTimeline(const StreamFormat& format, std::uint32_t framesPerBuffer,
                               const Beginning& beginning)
    : m_format(format),
      m_framesPerBuffer(framesPerBuffer),
      m_entry(entryOf(format, beginning)),
      m_shift(m_entry ? m_entry->frame : 0),
      m_originMs(beginning.stampMs - millisecondsOf(m_shift, format.rate)),
      m_tracks(kHeardWithinSeconds * format.rate) {}

std::uint32_t StreamTimeline::stampOf(std::uint64_t frame) const {
  return m_originMs + millisecondsOf(frame, m_format.rate);
}

std::optional<TrackPosition> StreamTimeline::positionAt(std::uint64_t frame) const {
  const TrackMarks::Mark* track = trackAt(frame);
  if (track == nullptr) {
    return std::nullopt;
  }
  return TrackPosition{track->position, nanosecondsOf(frame - track->begin, m_format.rate)};
}

std::optional<EntryPoint> StreamTimeline::seek(std::uint64_t buffer, const Seek& to) {
  const std::uint64_t from = frameOf(buffer);
  const TrackMarks::Mark* track = trackAt(from);
  if (track == nullptr) {
    return std::nullopt;
  }
  const std::uint64_t frameInTrack = targetIn(*track, from - track->begin, to);
  const EntryPoint entry{track->position, frameInTrack, track->begin + frameInTrack};
  m_tracks.forgetBehind(track->begin);
  m_shift += entry.frame - from;
  return entry;
}

std::uint64_t StreamTimeline::targetIn(const TrackMarks::Mark& track, std::uint64_t from,
                                       const Seek& to) const {
  const std::uint64_t way = framesOf(static_cast<std::uint64_t>(std::abs(to.ns)), m_format.rate);
  std::uint64_t target = way;
  if (to.relative) {
    target = to.ns < 0 ? from - std::min(from, way) : from + way;
  }
  return wholeFrame(m_format, std::min(target, track.length.value_or(target)));
}

}  // namespace Player
