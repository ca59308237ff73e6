// SPDX-License-Identifier: MIT

#include "feed/Feed.h"

namespace Tavro {
namespace {

constexpr std::uint64_t kMillisecondsPerSecond = 1000;

}  // namespace

std::uint32_t Feed::queuedCount() {
  const CallbackLock lock(m_queueLock);
  return m_queue.count();
}

bool Feed::pushBack(const QueuedBuffer& record, std::uint32_t clears) {
  const CallbackLock lock(m_queueLock);
  if (clears != m_clears) {
    return false;
  }
  m_queue.pushBack(record);
  return true;
}

bool Feed::takeFront(QueuedBuffer& record) TAVRO_NONBLOCKING {
  const CallbackLock lock(m_queueLock);
  return m_queue.take(record);
}

bool Feed::popFront() TAVRO_NONBLOCKING {
  const CallbackLock lock(m_queueLock);
  return m_queue.pop();
}

bool Feed::popFrontAndTakeNext(QueuedBuffer& next) TAVRO_NONBLOCKING {
  const CallbackLock lock(m_queueLock);
  const bool popped = m_queue.pop();
  if (!m_queue.take(next)) {
    next = QueuedBuffer{};
  }
  return popped;
}

bool Feed::putBackFront(QueuedBuffer& record) TAVRO_NONBLOCKING {
  {
    const CallbackLock lock(m_queueLock);
    if (m_queue.putBack(record)) {
      return true;
    }
  }
  TAVRO_CALLS_OUT(record.release();)
  return false;
}

void Feed::clearQueue() {
  const CallbackLock lock(m_queueLock);
  ++m_clears;
  m_queue.clear();
}

std::uint32_t Feed::graphTime() const {
  SessionClock* clock = m_clock;
  return clock != nullptr ? clock->currentTime() : 0;
}

void Feed::reportBuffer(std::uint32_t streamId, std::uint32_t state, MediaBuffer* buffer) {
  if (GraphSessionInterface* session = m_session) {
    session->reportBuffer(streamId, state, buffer);
  }
}

std::uint32_t Feed::currentTime() {
  const CallbackLock lock(m_clockLock);
  const std::uint64_t played =
      m_bytesPerSecond != 0 ? m_bytesRendered * kMillisecondsPerSecond / m_bytesPerSecond : 0;
  const std::uint64_t elapsed = m_lastCallbackTime != 0 ? GetTimeMS() - m_lastCallbackTime : 0;
  return static_cast<std::uint32_t>(played) + static_cast<std::uint32_t>(elapsed);
}

void Feed::setBytesPerSecond(std::uint32_t bytes) {
  const CallbackLock lock(m_clockLock);
  m_bytesPerSecond = bytes;
}

void Feed::countCallback(std::uint64_t hostTimeMs, std::uint32_t bytes) TAVRO_NONBLOCKING {
  const CallbackLock lock(m_clockLock);
  m_lastCallbackTime = hostTimeMs;
  m_bytesRendered += bytes;
}

void Feed::forgetLastCallback() {
  const CallbackLock lock(m_clockLock);
  m_lastCallbackTime = 0;
}

}  // namespace Tavro
