// SPDX-License-Identifier: MIT

#include "feed/Feeder.h"

namespace Tavro {
namespace {

constexpr std::uint32_t kQueueLimit = 10;
constexpr unsigned long long kPauseMs = 10;

}  // namespace

/// A buffer from upstream, and the state when it was requested: a buffer requested before the
/// queue is cleared is not queued afterwards.
struct Feeder::Pull {
  MediaBuffer* buffer = nullptr;  // null if there is none
  std::uint32_t streamId = 0;
  std::uint32_t clears = 0;
  bool asked = false;
};

void Feeder::run(const std::atomic<PortInterface*>& peer) {
  while (!m_stop) {
    if (!m_feed.m_playing || m_feed.queuedCount() >= kQueueLimit || peer == nullptr) {
      SleepMS(kPauseMs);
      continue;
    }
    const Pull pull = pullFrom(peer);
    if (pull.buffer != nullptr) {
      queueOrDrop(pull);
    } else if (pull.asked) {
      SleepMS(kPauseMs);
    }
  }
}

/// Asks again if there was no buffer, as the first query may only have woken the source. Asks for
/// nothing if a flush or a disconnect came while it waited for the lock.
Feeder::Pull Feeder::pullFrom(const std::atomic<PortInterface*>& peer) {
  const ComponentLock lock(m_configLock);
  PortInterface* const upstream = peer;
  Pull pull{.streamId = m_feed.m_streamId, .clears = m_feed.m_clears};
  if (upstream == nullptr || !m_feed.m_playing) {
    return pull;
  }
  pull.asked = true;
  pull.buffer = askForBuffer(*upstream);
  if (pull.buffer == nullptr) {
    pull.buffer = askForBuffer(*upstream);
  }
  return pull;
}

MediaBuffer* Feeder::askForBuffer(PortInterface& upstream) {
  _Variant answer{};
  const bool handled = upstream.readQuery(PortQuery::kNextBuffer, &answer);
  return handled ? reinterpret_cast<MediaBuffer*>(answer.value) : nullptr;
}

void Feeder::queueOrDrop(const Pull& pull) {
  MediaBuffer* const buffer = pull.buffer;
  if (reportIfLate(pull)) {
    buffer->release();
    return;
  }
  QueuedBuffer record;
  record.m_buffer = buffer;
  record.m_chunkSize = buffer->chunkSize();
  record.m_size = buffer->bufferSize();
  record.m_timeStamp = buffer->timeStamp;
  record.m_duration = buffer->duration;
  if (!m_feed.pushBack(record, pull.clears)) {
    buffer->release();
  }
}

/// The host may leave the session at any time once nothing plays; see m_feederUsesSession.
bool Feeder::reportIfLate(const Pull& pull) {
  m_feed.m_feederUsesSession = true;
  const bool late = pull.buffer->timeStamp + pull.buffer->duration < m_feed.graphTime();
  if (late) {
    m_feed.reportBuffer(pull.streamId, BufferState::kDroppedLate, pull.buffer);
  }
  m_feed.m_feederUsesSession = false;
  m_feed.m_feederUsesSession.notify_all();
  return late;
}

}  // namespace Tavro
