// SPDX-License-Identifier: MIT

#include "feed/BufferQueue.h"

namespace Tavro {
namespace {

// The feeder's limit of ten, plus one that a consumer may hold.
constexpr std::size_t kReservedRecords = 11;

}  // namespace

BufferQueue::BufferQueue() : m_ring(kReservedRecords) {}

void BufferQueue::pushBack(const QueuedBuffer& record) {
  if (m_count == m_ring.size()) {
    std::vector<QueuedBuffer> larger(2 * m_ring.size());
    for (std::size_t i = 0; i < m_count; ++i) {
      larger[i] = at(i);
    }
    m_ring.swap(larger);
    m_front = 0;
  }
  at(m_count) = record;
  ++m_count;
}

bool BufferQueue::take(QueuedBuffer& record) TAVRO_NONBLOCKING {
  if (m_count == 0) {
    return false;
  }
  record = at(0);
  m_frontTaken = true;
  return true;
}

bool BufferQueue::pop() TAVRO_NONBLOCKING {
  if (!m_frontTaken) {
    return false;
  }
  m_frontTaken = false;
  m_front = (m_front + 1) % m_ring.size();
  --m_count;
  return true;
}

bool BufferQueue::putBack(const QueuedBuffer& record) TAVRO_NONBLOCKING {
  if (!m_frontTaken) {
    return false;
  }
  m_frontTaken = false;
  at(0) = record;
  return true;
}

// Removes a record before it releases its buffer, so a host that flushes from within release()
// finds only the rest.
void BufferQueue::clear() {
  pop();  // a taken front belongs to its consumer
  while (m_count > 0) {
    QueuedBuffer record = at(0);
    m_front = (m_front + 1) % m_ring.size();
    --m_count;
    record.release();
  }
}

}  // namespace Tavro
