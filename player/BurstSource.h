#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

#include "player/Ac3Reader.h"
#include "player/Playlist.h"
#include "player/Source.h"

namespace Player {

/// AC-3 frames as they are, in bursts of one buffer each.
///
/// A burst is kept until the device has consumed it, so that those which a flush clears out of a
/// component can be handed out again: hold() → isQuiet() → flush → rewind() → letGo().
class BurstSource final : public Source {
 public:
  /// Reads at once. Buffers handed to the device without a report in the session's ledger are its
  /// own from here on.
  BurstSource(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
              std::uint32_t originMs, Tavro::HostTime::Signal& wake);
  ~BurstSource() override;

  /// From now on there is nothing to take. [host-thread]
  void hold();

  /// The component has asked since hold(), so nothing that it took before is on its way into its
  /// queue any more. [host-thread]
  bool isQuiet() const { return m_quiet.load(std::memory_order_acquire); }

  /// Goes back to the first burst that the device has not consumed; the component has none of them
  /// any more. Answers how many there are to be handed out again. [host-thread], while held
  std::uint64_t rewind();

  /// When the next burst is due, in graph time. [host-thread], while held
  std::uint32_t nextStampMs() const;

  void letGo() { m_held.store(false); }  // [host-thread]

 private:
  static constexpr std::uint32_t kKept = 64;  // bursts
  static constexpr std::uint32_t kLowWater = 16;

  void read();
  bool isFull() const { return buffers() - consumed() >= kKept; }
  std::uint64_t consumed() const;
  bool make(std::uint8_t* to);
  Tavro::PooledBuffer* take() override;
  std::uint8_t* placeOf(std::uint64_t burst) {
    return m_bursts.data() + burst % kKept * kBurstBytes;
  }

  Playlist& m_playlist;
  const std::uint64_t m_consumedBefore;
  Tavro::BufferPool m_pool;
  std::unique_ptr<Ac3Reader> m_track;  // reading thread only

  // The last bursts made, a ring. Those not consumed are never written to.
  std::vector<std::uint8_t> m_bursts;

  std::mutex m_lock;  // against a rewind while the component takes one

  std::atomic<bool> m_held{false};
  std::atomic<bool> m_quiet{false};
  std::atomic<bool> m_stops{false};
  Tavro::HostTime::Signal m_wanted;
  Tavro::HostTime::Thread m_thread;
};

}  // namespace Player
