#pragma once

#include <atomic>
#include <cstdint>

#include "host/PortInterface.h"
#include "player/StreamFormat.h"
#include "tavro_core/BufferPool.h"
#include "tavro_core/Session.h"
#include "time/HostTime.h"

namespace Player {

/// The upstream port of one stream: inputs of one format, one after the other without a gap. What
/// it hands out is made ahead, on a thread of its own, so that a component's question is answered
/// at once, with "none now" if need be. It outlives the component's connection to it.
///
/// Time stamps are computed from the count of frames; nothing accumulates.
class Source : public Tavro::PortInterface {
 public:
  bool readQuery(unsigned id, Tavro::_Variant* value) final;  // [feeder-thread]
  bool checkEvent(unsigned, Tavro::_Variant*) final { return false; }
  bool sendEvent(unsigned, Tavro::_Variant*) final { return false; }
  bool writeQuery(unsigned, Tavro::_Variant*) final { return false; }

  /// All is made; buffers() is final then. [any-thread]
  bool hasEnded() const { return m_ended.load(std::memory_order_acquire); }

  /// Buffers made so far, and how many of them the component has taken. [any-thread]
  std::uint64_t buffers() const { return m_made.load(std::memory_order_acquire); }
  std::uint64_t taken() const { return m_taken.load(std::memory_order_acquire); }

 protected:
  /// `wake` is notified at the end of the stream.
  Source(Tavro::Session& session, const StreamFormat& format, std::uint32_t originMs,
         Tavro::HostTime::Signal& wake)
      : m_session(session), m_format(format), m_originMs(originMs), m_wake(wake) {}

  /// The next buffer, with one reference, counted in m_taken; null: none now. [feeder-thread]
  virtual Tavro::PooledBuffer* take() = 0;

  void end();  // on the thread that makes the buffers
  std::uint32_t stampOf(std::uint64_t frame) const;

  Tavro::Session& m_session;
  const StreamFormat m_format;

  // Counted up by whoever makes and takes buffers, after the deed (release, acquire).
  std::atomic<std::uint64_t> m_made{0};
  std::atomic<std::uint64_t> m_taken{0};

 private:
  const std::uint32_t m_originMs;
  Tavro::HostTime::Signal& m_wake;
  std::atomic<bool> m_ended{false};
};

}  // namespace Player
