// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "player/media/TrackReader.h"
#include "player/source/Playlist.h"
#include "player/source/Source.h"

namespace Player {

/// Decoded audio, in buffers of equal length.
class PcmSource final : public Source {
 public:
  /// Starts to decode.
  PcmSource(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
            std::uint32_t bufferMs, const Beginning& beginning, Tavro::HostTime::Signal& wake);
  ~PcmSource() override;

 private:
  static constexpr std::uint32_t kPrefetch = 32;  // buffers
  static constexpr std::uint32_t kLowWater = 16;

  void decode();
  bool isFull() TAVRO_EXCLUDES(m_lock);
  void put(Tavro::PooledBuffer* buffer) TAVRO_EXCLUDES(m_lock);
  Tavro::PooledBuffer* take() override TAVRO_REQUIRES(m_lock);
  void drop() override TAVRO_REQUIRES(m_lock);
  void make(Tavro::PooledBuffer& buffer);
  std::size_t fill(std::uint8_t* to);

  Tavro::BufferPool m_pool;

  // Decode thread only.
  std::unique_ptr<TrackReader> m_track;
  std::uint64_t m_framesMade = 0;

  // Ring of the ready buffers
  std::array<Tavro::PooledBuffer*, kPrefetch> m_ready TAVRO_GUARDED_BY(m_lock){};
  std::uint32_t m_first TAVRO_GUARDED_BY(m_lock) = 0;
  std::uint32_t m_count TAVRO_GUARDED_BY(m_lock) = 0;

  std::atomic<bool> m_stops{false};
  Tavro::HostTime::Thread m_thread;
};

}  // namespace Player
