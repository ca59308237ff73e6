#pragma once

#include <boost/thread/recursive_mutex.hpp>

#include <atomic>
#include <cstdint>

#include "feed/BufferQueue.h"
#include "host/TavroCore.h"

namespace Tavro {

/// What the host's calls, the feeder, the callbacks and the time base share: the buffers on their
/// way, the session that hears of them, and the playback counters.
///
/// Threads: [host-thread] whichever thread the host drives the component on, one call at a time;
/// [feeder-thread] the component's own worker; [render-thread] the audio service's, never two calls
/// at once for a component; [any-thread] all of them.
///
/// Locks: m_queueLock and m_clockLock, both recursive, each held for a short block and never while
/// another is taken. The render thread takes no others.
struct Feed {
  // The buffer queue, each under m_queueLock. See BufferQueue for what a taken front is.
  std::uint32_t queuedCount();                                      // [any-thread]
  bool pushBack(const QueuedBuffer& record, std::uint32_t clears);  // [feeder-thread]; false: not
                                                                    // queued, cleared since then
  bool takeFront(QueuedBuffer& record);                             // [render-thread]
  bool popFront();                                                  // [render-thread]
  bool popFrontAndTakeNext(QueuedBuffer& next);  // [render-thread]; `next` empty: no more
  bool putBackFront(QueuedBuffer& record);       // [render-thread]; else releases it
  void clearQueue();                             // [host-thread]

  std::uint32_t graphTime() const;  // milliseconds; 0 outside a session [any-thread]
  void reportBuffer(std::uint32_t streamId, std::uint32_t state,
                    MediaBuffer* buffer);  // [any-thread]

  /// The playback clock, milliseconds: the time that the bytes handed to the device stand for,
  /// carried on by the host's clock since the last callback. After a stop, a reset or a rebuild it
  /// stays at the byte count until the next callback. [any-thread]
  std::uint32_t currentTime();
  void setBytesPerSecond(std::uint32_t bytes);                        // [host-thread]
  void countCallback(std::uint64_t hostTimeMs, std::uint32_t bytes);  // [render-thread]
  void forgetLastCallback();                                          // [host-thread]

  // Set by the host's calls while nothing plays; read by the feeder and the render thread. The
  // feeder may still have a buffer in hand when the host leaves the session: it raises the flag
  // around its use of the two, and destroy() waits until it is down.
  std::atomic<GraphSessionInterface*> m_session{nullptr};
  std::atomic<SessionClock*> m_clock{nullptr};
  std::atomic<std::uint32_t> m_streamId{0xFFFFFFFF};
  std::atomic<bool> m_feederUsesSession{false};

  std::atomic<bool> m_playing{false};  // the feeder pulls only while it is set
  std::atomic<bool> m_synced{false};   // buffers follow one another, the clock is not asked
  std::uint32_t m_lastEndTime = 0;     // milliseconds; render thread only

  boost::recursive_mutex m_queueLock;
  BufferQueue m_queue;                     // guarded by m_queueLock
  std::atomic<std::uint32_t> m_clears{0};  // of the queue; changed under m_queueLock

  boost::recursive_mutex m_clockLock;
  std::uint32_t m_bytesPerSecond = 0;    // guarded by m_clockLock, as are the next two
  std::uint64_t m_bytesRendered = 0;     // since construction
  std::uint64_t m_lastCallbackTime = 0;  // GetTimeMS(); 0: none
};

}  // namespace Tavro
