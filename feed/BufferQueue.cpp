#include "feed/BufferQueue.h"

#include "coreaudio/CoreAudioOutput.h"

namespace Tavro {
namespace {

// The feeder's limit of ten, and the one that a consumer may have in hand.
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

bool BufferQueue::take(QueuedBuffer& record) {
  if (m_count == 0) {
    return false;
  }
  record = at(0);
  m_frontTaken = true;
  return true;
}

bool BufferQueue::pop() {
  if (!m_frontTaken) {
    return false;
  }
  m_frontTaken = false;
  m_front = (m_front + 1) % m_ring.size();
  --m_count;
  return true;
}

bool BufferQueue::putBack(const QueuedBuffer& record) {
  if (!m_frontTaken) {
    return false;
  }
  m_frontTaken = false;
  at(0) = record;
  return true;
}

// A record is gone before its buffer is released: a host that flushes from within release() finds
// the rest only.
void BufferQueue::clear() {
  pop();  // a taken front is its consumer's
  while (m_count > 0) {
    QueuedBuffer record = at(0);
    m_front = (m_front + 1) % m_ring.size();
    --m_count;
    record.release();
  }
}

// The component's side: the same steps under its queue lock, one short block each.

template <class T>
std::uint32_t AudioOutput<T>::queuedCount() {
  const boost::recursive_mutex::scoped_lock lock(m_queueLock);
  return m_queue.count();
}

template <class T>
bool AudioOutput<T>::pushBack(const QueuedBuffer& record, std::uint32_t clears) {
  const boost::recursive_mutex::scoped_lock lock(m_queueLock);
  if (clears != m_clears) {
    return false;
  }
  m_queue.pushBack(record);
  return true;
}

template <class T>
bool AudioOutput<T>::takeFront(QueuedBuffer& record) {
  const boost::recursive_mutex::scoped_lock lock(m_queueLock);
  return m_queue.take(record);
}

template <class T>
bool AudioOutput<T>::popFront() {
  const boost::recursive_mutex::scoped_lock lock(m_queueLock);
  return m_queue.pop();
}

template <class T>
bool AudioOutput<T>::popFrontAndTakeNext(QueuedBuffer& next) {
  const boost::recursive_mutex::scoped_lock lock(m_queueLock);
  const bool popped = m_queue.pop();
  if (!m_queue.take(next)) {
    next = QueuedBuffer{};
  }
  return popped;
}

template <class T>
bool AudioOutput<T>::putBackFront(QueuedBuffer& record) {
  {
    const boost::recursive_mutex::scoped_lock lock(m_queueLock);
    if (m_queue.putBack(record)) {
      return true;
    }
  }
  record.release();
  return false;
}

template <class T>
void AudioOutput<T>::clearQueue() {
  const boost::recursive_mutex::scoped_lock lock(m_queueLock);
  ++m_clears;
  m_queue.clear();
}

template std::uint32_t AudioOutput<CoreAudioOutput>::queuedCount();
template bool AudioOutput<CoreAudioOutput>::pushBack(const QueuedBuffer&, std::uint32_t);
template bool AudioOutput<CoreAudioOutput>::takeFront(QueuedBuffer&);
template bool AudioOutput<CoreAudioOutput>::popFront();
template bool AudioOutput<CoreAudioOutput>::popFrontAndTakeNext(QueuedBuffer&);
template bool AudioOutput<CoreAudioOutput>::putBackFront(QueuedBuffer&);
template void AudioOutput<CoreAudioOutput>::clearQueue();

}  // namespace Tavro
