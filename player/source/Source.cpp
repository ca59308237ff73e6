// SPDX-License-Identifier: MIT

#include "player/source/Source.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "host/Identifiers.h"

namespace Player {

namespace {

// More than a component and a device hold together.
constexpr std::uint64_t kHeardWithinSeconds = 10;

std::uint64_t settledCount(Tavro::Session& session) {
  const Tavro::LedgerTotals totals = session.ledger().totals();
  return totals.played + totals.droppedLate + totals.withoutReport;
}

}  // namespace

Source::Source(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
               std::uint32_t framesPerBuffer, const Beginning& beginning,
               Tavro::HostTime::Signal& wake)
    : m_session(session),
      m_playlist(playlist),
      m_format(format),
      m_framesPerBuffer(framesPerBuffer),
      m_originMs(beginning.stampMs),
      m_consumedBefore(settledCount(session)),
      m_wake(wake),
      m_tracks(kHeardWithinSeconds * format.rate) {
  if (beginning.spot) {
    const std::uint64_t frame = wholeFrame(framesOf(beginning.spot->ns, format.rate));
    m_sought = {beginning.spot->position, frame, frame};
    m_shift = frame;
    m_originMs -= stampOf(frame) - m_originMs;
  }
}

bool Source::readQuery(unsigned id, Tavro::_Variant* value) {
  if (id != Tavro::PortQuery::kNextBuffer) {
    return false;
  }
  Tavro::PooledBuffer* buffer = nullptr;
  {
    const std::lock_guard guard(m_lock);
    buffer = m_held ? nullptr : take();
    m_quiet.store(m_held, std::memory_order_release);
    if (++m_asked == kQueued) {
      m_wake.notify();
    }
  }
  if (buffer == nullptr) {
    return false;
  }
  m_session.ledger().pulled(*buffer);
  *value = {Tavro::VariantType::kObject,
            reinterpret_cast<std::uintptr_t>(static_cast<Tavro::MediaBuffer*>(buffer))};
  return true;
}

void Source::hold() {
  const std::lock_guard guard(m_lock);
  m_held = true;
  m_quiet.store(false, std::memory_order_release);
}

void Source::release() {
  const std::lock_guard guard(m_lock);
  m_held = false;
  m_asked = 0;
}

void Source::countMade() {
  if (m_made.fetch_add(1, std::memory_order_release) + 1 == kQueued) {
    m_wake.notify();
  }
}

/// Buffers return in order, so that their count identifies them.
std::uint64_t Source::consumed() const { return settledCount(m_session) - m_consumedBefore; }

std::uint64_t Source::rewind() {
  const std::lock_guard guard(m_lock);
  const std::uint64_t before = taken();
  m_taken.store(consumed(), std::memory_order_release);
  return before - taken();
}

void Source::seek(const Seek& to) {
  {
    const std::lock_guard guard(m_lock);
    const std::uint64_t from = frameOf(taken());
    const TrackMarks::Mark* track = m_tracks.at(from);
    if (track == nullptr) {
      return;
    }
    const std::uint64_t frameInTrack = targetIn(*track, from - track->begin, to);
    m_sought = {track->position, frameInTrack, track->begin + frameInTrack};
    m_tracks.forgetBehind(track->begin);
    m_shift += m_sought->frame - from;
    drop();
    m_made.store(taken(), std::memory_order_release);
    m_ended.store(false, std::memory_order_release);
  }
  m_wanted.notify();
}

/// Rounds down to a whole burst.
std::uint64_t Source::wholeFrame(std::uint64_t frame) const {
  return m_format.bursts ? frame - frame % kFramesPerBurst : frame;
}

std::uint64_t Source::targetIn(const TrackMarks::Mark& track, std::uint64_t from,
                               const Seek& to) const {
  const std::uint64_t way = framesOf(static_cast<std::uint64_t>(std::abs(to.ns)), m_format.rate);
  std::uint64_t target = way;
  if (to.relative) {
    target = to.ns < 0 ? from - std::min(from, way) : from + way;
  }
  return wholeFrame(std::min(target, track.length.value_or(target)));
}

std::optional<TrackPosition> Source::spot() {
  const std::lock_guard guard(m_lock);
  const std::uint64_t frame = frameOf(taken());
  const TrackMarks::Mark* track = m_tracks.at(frame);
  if (track == nullptr) {
    return std::nullopt;
  }
  return TrackPosition{track->position, nanosecondsOf(frame - track->begin, m_format.rate)};
}

std::uint32_t Source::presentStampMs() {
  const std::lock_guard guard(m_lock);
  return stampOf(frameOf(consumed()));
}

std::optional<std::size_t> Source::presentPosition() {
  const std::lock_guard guard(m_lock);
  const TrackMarks::Mark* track = m_tracks.at(frameOf(consumed()));
  return track != nullptr ? std::optional(track->position) : std::nullopt;
}

std::uint32_t Source::nextStampMs() {
  const std::lock_guard guard(m_lock);
  return stampOf(frameOf(taken()));
}

std::optional<std::uint64_t> Source::goWhereSought() {
  const std::lock_guard guard(m_lock);
  if (!m_sought) {
    return std::nullopt;
  }
  m_next = std::exchange(m_sought, std::nullopt);
  m_playlist.goTo(m_next->position);
  return m_next->frame;
}

/// Returns the next track of the stream, which begins at the stream's frame `begin`.
std::optional<Track> Source::nextTrack(std::uint64_t begin) {
  std::optional<Track> track = m_playlist.next(m_format);
  const std::optional<Place> place = std::exchange(m_next, std::nullopt);
  if (!track) {
    return std::nullopt;
  }
  const bool isEntered = place && place->position == track->position;
  const std::uint64_t entry = isEntered ? place->frameInTrack : 0;
  {
    const std::lock_guard guard(m_lock);
    if (!isSought() && (!isEntered || m_tracks.at(begin) == nullptr)) {
      m_tracks.add(begin - entry, *track);
    }
  }
  track->cut = isEntered ? track->cut.behind(entry) : track->cut;
  return track;
}

void Source::end() {
  const std::lock_guard guard(m_lock);
  if (!isSought()) {
    m_ended.store(true, std::memory_order_release);
    m_wake.notify();
  }
}

std::uint32_t Source::stampOf(std::uint64_t frame) const {
  return m_originMs + static_cast<std::uint32_t>(frame / m_format.rate * 1000 +
                                                 frame % m_format.rate * 1000 / m_format.rate);
}

}  // namespace Player
