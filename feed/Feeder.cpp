#include "coreaudio/CoreAudioOutput.h"

// The feeder: pulls buffers from the upstream port into the queue while the output plays, drops
// what is wholly late before it is queued, and pauses whenever there is nothing to do. It holds the
// configuration lock while it asks upstream, never together with another lock, and never while it
// pauses.

namespace Tavro {
namespace {

constexpr std::uint32_t kQueueLimit = 10;
constexpr unsigned long long kPauseMs = 10;

MediaBuffer* askForBuffer(PortInterface& peer) {
  _Variant answer{};
  const bool handled = peer.readQuery(PortQuery::kNextBuffer, &answer);
  return handled ? reinterpret_cast<MediaBuffer*>(answer.value) : nullptr;
}

}  // namespace

void CoreAudioOutput::feederLoop() {
  while (!m_stopThread) {
    if (!m_playing || queuedCount() >= kQueueLimit || m_port->m_peer == nullptr) {
      SleepMS(kPauseMs);
      continue;
    }
    bool peerThere = false;
    MediaBuffer* buffer = pullFromPeer(peerThere);
    if (buffer != nullptr) {
      queueOrDrop(buffer);
    } else if (peerThere) {
      SleepMS(kPauseMs);
    }
  }
}

/// Asks twice before it gives up, so that a source that only woke up is not kept waiting.
MediaBuffer* CoreAudioOutput::pullFromPeer(bool& peerThere) {
  const boost::recursive_mutex::scoped_lock lock(m_configLock);
  PortInterface* peer = m_port->m_peer;
  peerThere = peer != nullptr;
  if (!peerThere) {
    return nullptr;
  }
  MediaBuffer* buffer = askForBuffer(*peer);
  return buffer != nullptr ? buffer : askForBuffer(*peer);
}

void CoreAudioOutput::queueOrDrop(MediaBuffer* buffer) {
  if (dropIfLate(buffer)) {
    return;
  }
  QueuedBuffer record;
  record.m_buffer = buffer;
  record.m_chunkSize = buffer->chunkSize();
  record.m_size = buffer->bufferSize();
  record.m_timeStamp = buffer->timeStamp;
  record.m_duration = buffer->duration;
  pushBack(record);
}

/// The session may be left at any time once nothing plays; see m_feederUsesSession.
bool CoreAudioOutput::dropIfLate(MediaBuffer* buffer) {
  m_feederUsesSession = true;
  const bool late = buffer->timeStamp + buffer->duration < graphTime();
  if (late) {
    reportBuffer(BufferState::kDroppedLate, buffer);
    buffer->release();
  }
  m_feederUsesSession = false;
  return late;
}

}  // namespace Tavro
