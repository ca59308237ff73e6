#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "host/PortInterface.h"
#include "player/Playlist.h"
#include "tavro_core/BufferPool.h"
#include "tavro_core/Session.h"
#include "time/HostTime.h"

namespace Player {

/// The upstream port of one stream: inputs of one format, one after the other without a gap, as
/// buffers of 20 ms.
///
/// A decode thread keeps a number of buffers ready, so that a component's question is answered at
/// once, with "none now" if need be. Time stamps are computed from the count of frames; nothing
/// accumulates. It outlives the component's connection to it.
class Source final : public Tavro::PortInterface {
 public:
  /// Decodes at once. `wake` is notified at the end of the stream.
  Source(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
         std::uint32_t originMs, Tavro::HostTime::Signal& wake);
  ~Source() override;

  bool readQuery(unsigned id, Tavro::_Variant* value) override;  // [feeder-thread]
  bool checkEvent(unsigned, Tavro::_Variant*) override { return false; }
  bool sendEvent(unsigned, Tavro::_Variant*) override { return false; }
  bool writeQuery(unsigned, Tavro::_Variant*) override { return false; }

  /// All is decoded; buffers() is final then. [any-thread]
  bool hasEnded() const { return m_ended.load(std::memory_order_acquire); }

  /// Buffers made so far, and those that the component has taken. [any-thread]
  std::uint64_t buffers() const { return m_made.load(std::memory_order_relaxed); }
  std::uint64_t taken() const { return m_taken.load(std::memory_order_relaxed); }

 private:
  static constexpr std::uint32_t kPrefetch = 32;  // buffers
  static constexpr std::uint32_t kLowWater = 16;

  void decode();
  bool isFull();
  void put(Tavro::PooledBuffer* buffer);
  Tavro::PooledBuffer* take();
  void make(Tavro::PooledBuffer& buffer);
  std::size_t fill(std::uint8_t* to);
  std::uint32_t stampOf(std::uint64_t frame) const;

  Tavro::Session& m_session;
  Playlist& m_playlist;
  const StreamFormat m_format;
  const std::uint32_t m_originMs;
  const std::uint32_t m_framesPerBuffer;
  Tavro::HostTime::Signal& m_wake;
  Tavro::BufferPool m_pool;

  // Decode thread only.
  std::unique_ptr<TrackReader> m_track;
  std::uint64_t m_framesMade = 0;

  // What is ready, a ring. The lock is held for a few instructions, never while decoding.
  std::mutex m_lock;
  std::array<Tavro::PooledBuffer*, kPrefetch> m_ready{};
  std::uint32_t m_first = 0;
  std::uint32_t m_count = 0;

  std::atomic<std::uint64_t> m_made{0};
  std::atomic<std::uint64_t> m_taken{0};
  std::atomic<bool> m_ended{false};
  std::atomic<bool> m_stops{false};
  Tavro::HostTime::Signal m_wanted;
  Tavro::HostTime::Thread m_thread;
};

}  // namespace Player
