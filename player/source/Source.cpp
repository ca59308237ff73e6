// SPDX-License-Identifier: MIT

#include "player/source/Source.h"

#include <utility>

#include "host/Identifiers.h"

namespace Player {

namespace {

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
      m_timeline(format, framesPerBuffer, beginning),
      m_consumedBefore(settledCount(session)),
      m_wake(wake),
      m_sought(m_timeline.entry()) {}

bool Source::readQuery(unsigned id, Tavro::_Variant* value) {
  if (id != Tavro::PortQuery::kNextBuffer) {
    return false;
  }
  Tavro::PooledBuffer* buffer = nullptr;
  {
    const Tavro::Lock guard(m_lock);
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
  const Tavro::Lock guard(m_lock);
  m_held = true;
  m_quiet.store(false, std::memory_order_release);
}

void Source::release() {
  const Tavro::Lock guard(m_lock);
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
  const Tavro::Lock guard(m_lock);
  const std::uint64_t before = taken();
  m_taken.store(consumed(), std::memory_order_release);
  return before - taken();
}

void Source::seek(const Seek& to) {
  {
    const Tavro::Lock guard(m_lock);
    const std::optional<EntryPoint> target = m_timeline.seek(taken(), to);
    if (!target) {
      return;
    }
    m_sought = target;
    drop();
    m_made.store(taken(), std::memory_order_release);
    m_ended.store(false, std::memory_order_release);
  }
  m_wanted.notify();
}

std::optional<TrackPosition> Source::spot() {
  const Tavro::Lock guard(m_lock);
  return m_timeline.positionAt(m_timeline.frameOf(taken()));
}

std::uint32_t Source::presentStampMs() {
  const Tavro::Lock guard(m_lock);
  return m_timeline.stampOf(m_timeline.frameOf(consumed()));
}

std::optional<std::size_t> Source::presentPosition() {
  const Tavro::Lock guard(m_lock);
  const TrackMarks::Mark* track = m_timeline.trackAt(m_timeline.frameOf(consumed()));
  return track != nullptr ? std::optional(track->position) : std::nullopt;
}

std::uint32_t Source::nextStampMs() {
  const Tavro::Lock guard(m_lock);
  return m_timeline.stampOf(m_timeline.frameOf(taken()));
}

std::optional<std::uint64_t> Source::goWhereSought() {
  const Tavro::Lock guard(m_lock);
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
  const std::optional<EntryPoint> place = std::exchange(m_next, std::nullopt);
  if (!track) {
    return std::nullopt;
  }
  const bool isEntered = place && place->position == track->position;
  const std::uint64_t entry = isEntered ? place->frameInTrack : 0;
  {
    const Tavro::Lock guard(m_lock);
    if (!isSought() && (!isEntered || m_timeline.trackAt(begin) == nullptr)) {
      m_timeline.add(begin - entry, *track);
    }
  }
  track->cut = isEntered ? track->cut.behind(entry) : track->cut;
  return track;
}

void Source::end() {
  const Tavro::Lock guard(m_lock);
  if (!isSought()) {
    m_ended.store(true, std::memory_order_release);
    m_wake.notify();
  }
}

}  // namespace Player
