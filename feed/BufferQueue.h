// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "feed/QueuedBuffer.h"
#include "locks/NonBlocking.h"

namespace Tavro {

/// FIFO of the records waiting to be played, in a ring that is allocated once: the feeder stops at
/// ten records, so the ring never grows on that path.
///
/// The consumer works on a copy of the front record outside the lock. The front is marked as taken
/// meanwhile, so that clear() removes it but leaves its reference to the consumer; the consumer's
/// pop() or putBack() then returns false.
///
/// Not synchronised: the caller holds the component's queue lock. One consumer at a time.
class BufferQueue {
 public:
  BufferQueue();

  std::uint32_t count() const { return static_cast<std::uint32_t>(m_count); }

  void pushBack(const QueuedBuffer& record);  // [feeder-thread]

  /// Copies the front into `record` and marks it as taken. Returns false if the queue is empty.
  /// [render-thread] or [io-thread], like the two below
  bool take(QueuedBuffer& record) TAVRO_NONBLOCKING;

  /// Removes the taken front, whose buffer the caller has released. Returns false and removes
  /// nothing if it was cleared since it was taken.
  bool pop() TAVRO_NONBLOCKING;

  /// Writes the updated copy back in place of the taken front. Returns false if that was cleared;
  /// the caller must then release the record.
  bool putBack(const QueuedBuffer& record) TAVRO_NONBLOCKING;

  /// Removes all records, front to back, and releases them except for a taken front.
  void clear();  // [host-thread]

 private:
  QueuedBuffer& at(std::size_t index) { return m_ring[(m_front + index) % m_ring.size()]; }

  std::vector<QueuedBuffer> m_ring;
  std::size_t m_front = 0;
  std::size_t m_count = 0;
  bool m_frontTaken = false;
};

}  // namespace Tavro
