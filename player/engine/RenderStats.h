// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include <atomic>
#include <cstdint>

#include "player/base/StreamFormat.h"
#include "tavro_core/EventLog.h"
#include "tavro_core/Ledger.h"

namespace Player {

/// Counts the render callbacks of the process and the silent ones, and derives from the ledger
/// where audio ends in the last one that had any. One instance at a time.
class RenderStats {
 public:
  RenderStats(Tavro::EventLog& events, const Tavro::Ledger& ledger);
  ~RenderStats();
  RenderStats(const RenderStats&) = delete;
  RenderStats& operator=(const RenderStats&) = delete;

  /// Begins a stream: silence before its first sample does not count as silentBetween(). Call while
  /// nothing plays.
  void beginStream(const StreamFormat& format);

  /// Call after the component's queue was flushed, while nothing plays.
  void flushed() { m_rest = 0; }

  std::uint64_t callbacks() const { return m_callbacks.load(std::memory_order_relaxed); }
  std::uint64_t silent() const { return m_silent.load(std::memory_order_relaxed); }

  /// Returns the silent callbacks between the first and the last sample of the streams.
  std::uint64_t silentBetween() const { return m_between.load(std::memory_order_relaxed); }

  /// Returns the frames of zeros after the audio in the last callback that had any, at rate(), the
  /// rate of the last stream. May be too small, never too large.
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

  // Used by the I/O thread, except in beginStream(): silent callbacks since the stream's last
  // audio.
  std::atomic<bool> m_heard{false};
  std::atomic<std::uint64_t> m_sinceHeard{0};

  // Used by the host thread between streams, else by the I/O thread.
  std::uint32_t m_frameBytes = 0;
  std::uint64_t m_begunBytes = 0;  // the ledger's, after the last callback with audio
  std::uint64_t m_rest = 0;        // bytes left then of the buffer in use
  std::atomic<std::uint32_t> m_padding{0};
};

}  // namespace Player
