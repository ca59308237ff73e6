#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "player/media/BurstReader.h"
#include "player/source/Playlist.h"
#include "player/source/Source.h"

namespace Player {

/// AC-3 frames as they are, in bursts of one buffer each.
///
/// A burst is kept until the device has consumed it, so that those which a flush clears out of a
/// component can be handed out again.
class BurstSource final : public Source {
 public:
  /// Reads at once. Buffers handed to the device without a report in the session's ledger are its
  /// own from here on.
  BurstSource(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
              const Beginning& beginning, Tavro::HostTime::Signal& wake);
  ~BurstSource() override;

 private:
  static constexpr std::uint32_t kKept = 64;  // bursts
  static constexpr std::uint32_t kLowWater = 16;

  void read();
  bool isFull() const { return buffers() - consumed() >= kKept; }
  bool make(std::uint8_t* to);
  void keep();
  std::uint64_t frameMadeUpTo();
  Tavro::PooledBuffer* take() override;
  std::uint8_t* placeOf(std::uint64_t burst) {
    return m_bursts.data() + burst % kKept * kBurstBytes;
  }

  Tavro::BufferPool m_pool;
  std::unique_ptr<BurstReader> m_track;  // reading thread only

  // The last bursts made, a ring. Those not consumed are never written to.
  std::vector<std::uint8_t> m_bursts;

  std::atomic<bool> m_stops{false};
  Tavro::HostTime::Thread m_thread;
};

}  // namespace Player
