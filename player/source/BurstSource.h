// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "player/media/BurstReader.h"
#include "player/source/Playlist.h"
#include "player/source/Source.h"

namespace Player {

/// Unmodified AC-3 frames, one burst per buffer.
///
/// Keeps a burst until the device has consumed it, so that bursts flushed from a component can be
/// handed out again.
class BurstSource final : public Source {
 public:
  /// Starts to read. From here on, buffers that the session's ledger counts as handed over without
  /// a report must be its own.
  BurstSource(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
              const Beginning& beginning, Tavro::HostTime::Signal& wake);
  ~BurstSource() override;

 private:
  static constexpr std::uint32_t kKept = 64;  // bursts
  static constexpr std::uint32_t kLowWater = 16;

  void read();
  bool isFull() const { return buffers() - consumed() >= kKept; }
  bool make(std::uint8_t* to);
  void keep() TAVRO_EXCLUDES(m_lock);
  std::uint64_t frameMadeUpTo() TAVRO_EXCLUDES(m_lock);
  Tavro::PooledBuffer* take() override TAVRO_REQUIRES(m_lock);
  std::uint8_t* placeOf(std::uint64_t burst) {
    return m_bursts.data() + burst % kKept * kBurstBytes;
  }

  Tavro::BufferPool m_pool;
  std::unique_ptr<BurstReader> m_track;  // reading thread only

  // Ring of the last bursts made. Bursts not consumed are never overwritten.
  std::vector<std::uint8_t> m_bursts;

  std::atomic<bool> m_stops{false};
  Tavro::HostTime::Thread m_thread;
};

}  // namespace Player
