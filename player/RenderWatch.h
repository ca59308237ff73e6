#pragma once

#include <AudioDevices/AudioDevices.h>

#include <atomic>
#include <cstdint>

#include "tavro_core/EventLog.h"

namespace Player {

/// Counts the render callbacks of the process, and how many of them had nothing to play. One at a
/// time.
class RenderWatch {
 public:
  explicit RenderWatch(Tavro::EventLog& events);
  ~RenderWatch();
  RenderWatch(const RenderWatch&) = delete;
  RenderWatch& operator=(const RenderWatch&) = delete;

  /// Another stream begins: silence until its first sample is none in between. While nothing plays.
  void beginStream();

  std::uint64_t callbacks() const { return m_callbacks.load(std::memory_order_relaxed); }
  std::uint64_t silent() const { return m_silent.load(std::memory_order_relaxed); }

  /// Between the first and the last sample of a stream.
  std::uint64_t silentBetween() const { return m_between.load(std::memory_order_relaxed); }

 private:
  static void onRender(void* watch, const AudioDevices::RenderRecord& record);
  void count(const AudioDevices::RenderRecord& record);  // [io-thread]

  Tavro::EventLog& m_events;
  std::atomic<std::uint64_t> m_callbacks{0};
  std::atomic<std::uint64_t> m_silent{0};
  std::atomic<std::uint64_t> m_between{0};

  // The I/O thread's, but for beginStream(): silent callbacks since the last sound of this stream.
  std::atomic<bool> m_heard{false};
  std::atomic<std::uint64_t> m_sinceHeard{0};
};

}  // namespace Player
