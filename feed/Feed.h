// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstdint>

#include "feed/BufferQueue.h"
#include "feed/ComponentLock.h"
#include "host/TavroCore.h"

namespace Tavro {

/// State shared by the host's calls, the feeder, the callbacks and the time base: the queued
/// buffers, the session to which they are reported, and the playback counters.
///
/// Threads: [host-thread] any thread on which the host drives the component, one call at a time;
/// [feeder-thread] the component's own worker; [render-thread] the audio service's, one call at a
/// time for a component; [any-thread] all of them.
///
/// Locks: m_queueLock and m_clockLock, both recursive, each held briefly and with no other lock of
/// the component taken inside. The render thread takes no others.
struct Feed {
  // Operations on the queue, each under m_queueLock. BufferQueue explains a taken front.
  std::uint32_t queuedCount();                                      // [any-thread]
  bool pushBack(const QueuedBuffer& record, std::uint32_t clears);  // [feeder-thread]; false if the
                                                                    // queue was cleared since then
  bool takeFront(QueuedBuffer& record) TAVRO_NONBLOCKING;           // [render-thread]
  bool popFront() TAVRO_NONBLOCKING;                                // [render-thread]
  // [render-thread]; empties `next` if none is left
  bool popFrontAndTakeNext(QueuedBuffer& next) TAVRO_NONBLOCKING;
  // [render-thread]; if cleared, releases it
  bool putBackFront(QueuedBuffer& record) TAVRO_NONBLOCKING;
  void clearQueue();  // [host-thread]

  std::uint32_t graphTime() const;  // milliseconds; 0 outside a session [any-thread]
  void reportBuffer(std::uint32_t streamId, std::uint32_t state,
                    MediaBuffer* buffer);  // [any-thread]

  /// Returns the playback time in milliseconds: the duration of the bytes handed to the device,
  /// extrapolated with the host's clock since the last callback. After a stop, a reset or a rebuild
  /// it stays at the byte count until the next callback. [any-thread]
  std::uint32_t currentTime();
  void setBytesPerSecond(std::uint32_t bytes);  // [host-thread]
  // [render-thread]
  void countCallback(std::uint64_t hostTimeMs, std::uint32_t bytes) TAVRO_NONBLOCKING;
  void forgetLastCallback();  // [host-thread]

  // Set by the host's calls while nothing plays; read by the feeder and the render thread. The
  // feeder may still hold a buffer when the host leaves the session: it sets m_feederUsesSession
  // while it uses the session and the clock, and destroy() waits until it is cleared.
  std::atomic<GraphSessionInterface*> m_session{nullptr};
  std::atomic<SessionClock*> m_clock{nullptr};
  std::atomic<std::uint32_t> m_streamId{0xFFFFFFFF};
  std::atomic<bool> m_feederUsesSession{false};

  std::atomic<bool> m_playing{false};  // the feeder pulls only while it is set
  std::atomic<bool> m_synced{false};   // buffers play back to back, whatever the clock says
  std::uint32_t m_lastEndTime = 0;     // milliseconds; render thread only

  CallbackMutex m_queueLock;
  BufferQueue m_queue TAVRO_GUARDED_BY(m_queueLock);
  std::atomic<std::uint32_t> m_clears{0};  // count of clears; changed under m_queueLock

  CallbackMutex m_clockLock;
  std::uint32_t m_bytesPerSecond TAVRO_GUARDED_BY(m_clockLock) = 0;
  std::uint64_t m_bytesRendered TAVRO_GUARDED_BY(m_clockLock) = 0;  // since construction
  // GetTimeMS(); 0 if there was none
  std::uint64_t m_lastCallbackTime TAVRO_GUARDED_BY(m_clockLock) = 0;
};

}  // namespace Tavro
