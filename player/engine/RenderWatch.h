#pragma once

#include <AudioDevices/AudioDevices.h>

#include <atomic>
#include <cstdint>

#include "player/base/StreamFormat.h"
#include "tavro_core/EventLog.h"
#include "tavro_core/Ledger.h"

namespace Player {

/// Counts the render callbacks of the process, and how many of them had nothing to play; and learns
/// from the ledger where the sound ends in the last one that had. One at a time.
class RenderWatch {
 public:
  RenderWatch(Tavro::EventLog& events, const Tavro::Ledger& ledger);
  ~RenderWatch();
  RenderWatch(const RenderWatch&) = delete;
  RenderWatch& operator=(const RenderWatch&) = delete;

  /// Another stream begins: silence until its first sample is none in between. While nothing plays.
  void beginStream(const StreamFormat& format);

  /// The component's queue is flushed. While nothing plays.
  void flushed() { m_rest = 0; }

  std::uint64_t callbacks() const { return m_callbacks.load(std::memory_order_relaxed); }
  std::uint64_t silent() const { return m_silent.load(std::memory_order_relaxed); }

  /// Between the first and the last sample of a stream.
  std::uint64_t silentBetween() const { return m_between.load(std::memory_order_relaxed); }

  /// Frames of zeros that the component put behind the sound in the last callback that had any, at
  /// rate(), the rate of the last stream. May be too few, never too many.
  std::uint32_t padding() const { return m_padding.load(std::memory_order_relaxed); }
  std::uint32_t rate() const { return m_rate; }

 private:
  static void onRender(void* watch, const AudioDevices::RenderRecord& record);
  void count(const AudioDevices::RenderRecord& record);  // [io-thread]

  void measurePadding(std::uint32_t frames);

  Tavro::EventLog& m_events;
  const Tavro::Ledger& m_ledger;
  std::uint32_t m_rate = 0;
  std::atomic<std::uint64_t> m_callbacks{0};
  std::atomic<std::uint64_t> m_silent{0};
  std::atomic<std::uint64_t> m_between{0};

  // The I/O thread's, but for beginStream(): silent callbacks since the last sound of this stream.
  std::atomic<bool> m_heard{false};
  std::atomic<std::uint64_t> m_sinceHeard{0};

  // Between streams the host's, else the I/O thread's.
  std::uint32_t m_frameBytes = 0;
  std::uint64_t m_begunBytes = 0;  // the ledger's, after the last callback with sound
  std::uint64_t m_rest = 0;        // bytes of the buffer in work then
  std::atomic<std::uint32_t> m_padding{0};
};

}  // namespace Player
