// SPDX-License-Identifier: MIT

#include "player/source/BurstSource.h"

#include <cstring>
#include <utility>

namespace Player {

BurstSource::BurstSource(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
                         const Beginning& beginning, Tavro::HostTime::Signal& wake)
    : Source(session, playlist, format, kFramesPerBurst, beginning, wake),
      m_pool(kBuffersElsewhere, kBurstBytes, session.ledger()),
      m_bursts(std::size_t{kKept} * kBurstBytes),
      m_thread(Tavro::HostTime::Role::Decode, "read", [this] { read(); }) {}

BurstSource::~BurstSource() {
  m_stops.store(true);
  m_wanted.notify();
  m_thread.join();
}

void BurstSource::read() {
  while (!m_stops.load()) {
    if (goWhereSought()) {
      m_track.reset();
    }
    if (hasEnded() || isFull()) {
      Tavro::HostTime::waitUntil(Tavro::HostTime::kNever, m_wanted, "room for bursts");
    } else if (make(placeOf(buffers()))) {
      keep();
    } else {
      end();
    }
  }
}

/// Counts the burst just made, unless a seek is pending.
void BurstSource::keep() {
  const Tavro::Lock guard(m_lock);
  if (!isSought()) {
    countMade();
  }
}

std::uint64_t BurstSource::frameMadeUpTo() {
  const Tavro::Lock guard(m_lock);
  return m_timeline.frameOf(buffers());
}

/// Writes the next burst, across track boundaries; returns false at the end of the stream.
bool BurstSource::make(std::uint8_t* to) {
  for (;;) {
    if (!m_track) {
      std::optional<Track> track = nextTrack(frameMadeUpTo());
      if (!track) {
        return false;
      }
      m_track = readBursts(std::move(*track), m_format.rate);
    }
    if (m_track->read(to)) {
      return true;
    }
    if (const std::string problem = m_track->problem(); !problem.empty()) {
      m_playlist.report(m_track->path(), problem);
    }
    m_track.reset();
  }
}

Tavro::PooledBuffer* BurstSource::take() {
  const std::uint64_t next = taken();
  Tavro::PooledBuffer* buffer = next < buffers() ? m_pool.acquire() : nullptr;
  if (buffer == nullptr) {
    return nullptr;
  }
  std::memcpy(buffer->bytes(), placeOf(next), kBurstBytes);
  const std::uint32_t stampMs = m_timeline.stampOf(m_timeline.frameOf(next));
  const std::uint32_t endMs = m_timeline.stampOf(m_timeline.frameOf(next + 1));
  buffer->describe(kBurstBytes, stampMs, endMs - stampMs);
  m_taken.store(next + 1, std::memory_order_release);
  if (buffers() - next <= kLowWater) {
    m_wanted.notify();
  }
  return buffer;
}

}  // namespace Player
