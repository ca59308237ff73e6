// SPDX-License-Identifier: MIT

#include "player/source/PcmSource.h"

#include <algorithm>
#include <utility>

namespace Player {

namespace {

constexpr std::uint64_t kRetryNs = 10'000'000;

}  // namespace

PcmSource::PcmSource(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
                     std::uint32_t bufferMs, const Beginning& beginning,
                     Tavro::HostTime::Signal& wake)
    : Source(session, playlist, format, std::max(1u, format.rate * bufferMs / 1000), beginning,
             wake),
      m_pool(kPrefetch + kBuffersElsewhere, m_framesPerBuffer * format.bytesPerFrame(),
             session.ledger()),
      m_thread(Tavro::HostTime::Role::Decode, "decode", [this] { decode(); }) {}

PcmSource::~PcmSource() {
  m_stops.store(true);
  m_wanted.notify();
  m_thread.join();
  drop();
}

void PcmSource::decode() {
  while (!m_stops.load()) {
    if (const std::optional<std::uint64_t> frame = goWhereSought()) {
      m_track.reset();
      m_framesMade = *frame;
    }
    if (hasEnded() || isFull()) {
      Tavro::HostTime::waitUntil(Tavro::HostTime::kNever, m_wanted, "room for decoded buffers");
    } else if (Tavro::PooledBuffer* buffer = m_pool.acquire()) {
      make(*buffer);
    } else {
      // More buffers than a queue's worth are held elsewhere.
      Tavro::HostTime::waitUntil(Tavro::HostTime::now() + kRetryNs, m_wanted, "a buffer to fill");
    }
  }
}

bool PcmSource::isFull() {
  const Tavro::Lock guard(m_lock);
  return m_count == kPrefetch;
}

void PcmSource::put(Tavro::PooledBuffer* buffer) {
  const Tavro::Lock guard(m_lock);
  if (isSought()) {
    buffer->release();
    return;
  }
  m_ready[(m_first + m_count) % kPrefetch] = buffer;
  ++m_count;
  countMade();
}

Tavro::PooledBuffer* PcmSource::take() {
  if (m_count == 0) {
    return nullptr;
  }
  Tavro::PooledBuffer* buffer = m_ready[m_first];
  m_first = (m_first + 1) % kPrefetch;
  m_taken.fetch_add(1, std::memory_order_release);
  if (--m_count == kLowWater) {
    m_wanted.notify();
  }
  return buffer;
}

void PcmSource::drop() {
  for (; m_count > 0; --m_count) {
    m_ready[m_first]->release();
    m_first = (m_first + 1) % kPrefetch;
  }
}

void PcmSource::make(Tavro::PooledBuffer& buffer) {
  const std::size_t frames = fill(buffer.bytes());
  if (frames == 0) {
    buffer.release();
    end();
    return;
  }
  const std::uint32_t stampMs = stampOf(m_framesMade);
  m_framesMade += frames;
  buffer.describe(static_cast<std::uint32_t>(frames) * m_format.bytesPerFrame(), stampMs,
                  stampOf(m_framesMade) - stampMs);
  put(&buffer);
}

/// Fills one buffer, across track boundaries; returns fewer frames only at the end of the stream.
std::size_t PcmSource::fill(std::uint8_t* to) {
  std::size_t frames = 0;
  while (frames < m_framesPerBuffer) {
    if (!m_track) {
      std::optional<Track> track = nextTrack(m_framesMade + frames);
      if (!track) {
        break;
      }
      m_track = std::make_unique<TrackReader>(std::move(*track), m_format);
    }
    const std::size_t wanted = m_framesPerBuffer - frames;
    const std::size_t got = m_track->read(to + frames * m_format.bytesPerFrame(), wanted);
    frames += got;
    if (got < wanted) {
      if (const std::string problem = m_track->problem(); !problem.empty()) {
        m_playlist.report(m_track->path(), problem);
      }
      m_track.reset();
    }
  }
  return frames;
}

}  // namespace Player
