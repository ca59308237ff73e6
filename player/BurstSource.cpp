#include "player/BurstSource.h"

#include <cstring>
#include <utility>

namespace Player {

namespace {

// What a component queues, plays, or has just been handed.
constexpr std::uint32_t kBuffersElsewhere = 16;

}  // namespace

BurstSource::BurstSource(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
                         std::uint32_t originMs, Tavro::HostTime::Signal& wake)
    : Source(session, format, originMs, wake),
      m_playlist(playlist),
      m_consumedBefore(session.ledger().withoutReportCount()),
      m_pool(kBuffersElsewhere, kBurstBytes, session.ledger()),
      m_bursts(std::size_t{kKept} * kBurstBytes),
      m_thread(Tavro::HostTime::Role::Decode, "read", [this] { read(); }) {}

BurstSource::~BurstSource() {
  m_stops.store(true);
  m_wanted.notify();
  m_thread.join();
}

void BurstSource::hold() {
  m_quiet.store(false);
  m_held.store(true);
}

std::uint64_t BurstSource::rewind() {
  const std::lock_guard guard(m_lock);
  const std::uint64_t before = taken();
  m_taken.store(consumed(), std::memory_order_release);
  return before - taken();
}

std::uint32_t BurstSource::nextStampMs() const { return stampOf(taken() * kFramesPerBurst); }

/// Consumed bursts come back in their order, so their count says which.
std::uint64_t BurstSource::consumed() const {
  return m_session.ledger().withoutReportCount() - m_consumedBefore;
}

void BurstSource::read() {
  while (!m_stops.load()) {
    if (hasEnded() || isFull()) {
      Tavro::HostTime::waitUntil(Tavro::HostTime::kNever, m_wanted, "room for bursts");
    } else if (make(placeOf(buffers()))) {
      m_made.fetch_add(1, std::memory_order_release);
    } else {
      end();
    }
  }
}

/// The next burst, across the seams of tracks; false at the end of the stream.
bool BurstSource::make(std::uint8_t* to) {
  for (;;) {
    if (!m_track) {
      std::optional<Track> track = m_playlist.next(m_format);
      if (!track) {
        return false;
      }
      m_track = std::make_unique<Ac3Reader>(std::move(*track), m_format.rate);
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
  if (m_held.load()) {
    m_quiet.store(true, std::memory_order_release);
    return nullptr;
  }
  const std::lock_guard guard(m_lock);
  const std::uint64_t next = taken();
  Tavro::PooledBuffer* buffer = next < buffers() ? m_pool.acquire() : nullptr;
  if (buffer == nullptr) {
    return nullptr;
  }
  std::memcpy(buffer->bytes(), placeOf(next), kBurstBytes);
  const std::uint32_t stampMs = stampOf(next * kFramesPerBurst);
  const std::uint32_t endMs = stampOf((next + 1) * kFramesPerBurst);
  buffer->describe(kBurstBytes, stampMs, endMs - stampMs);
  m_taken.store(next + 1, std::memory_order_release);
  if (buffers() - next <= kLowWater) {
    m_wanted.notify();
  }
  return buffer;
}

}  // namespace Player
