#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "feed/QueuedBuffer.h"

namespace Tavro {

/// The records waiting to be played, first in, first out, in a ring that is allocated once: the
/// feeder stops at ten records, so it never grows on that path.
///
/// The consumer works on a copy of the front record outside the lock. To keep that consistent with
/// a clear in the middle, the front is marked as taken: clear() then removes it but leaves its
/// reference to the consumer, who learns of it when it comes back with pop() or putBack().
///
/// Not synchronised: the caller holds the component's queue lock. One consumer at a time.
class BufferQueue {
 public:
  BufferQueue();

  std::uint32_t count() const { return static_cast<std::uint32_t>(m_count); }

  void pushBack(const QueuedBuffer& record);  // [feeder-thread]

  /// Copies the front into `record` and marks it as taken; false when the queue is empty.
  /// [render-thread] or [io-thread], like the two below
  bool take(QueuedBuffer& record);

  /// Removes the taken front, whose buffer the caller has released. False when it was cleared away
  /// since it was taken: nothing is removed.
  bool pop();

  /// Writes the updated copy back in place of the taken front. False when that was cleared away:
  /// the record is the caller's to release.
  bool putBack(const QueuedBuffer& record);

  /// Releases every record, front to back, but for a taken front, and removes all.
  void clear();  // [host-thread]

 private:
  QueuedBuffer& at(std::size_t index) { return m_ring[(m_front + index) % m_ring.size()]; }

  std::vector<QueuedBuffer> m_ring;
  std::size_t m_front = 0;
  std::size_t m_count = 0;
  bool m_frontTaken = false;
};

}  // namespace Tavro
