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
    const Pull pull = pullFromPeer();
    if (pull.buffer != nullptr) {
      queueOrDrop(pull);
    } else if (pull.asked) {
      SleepMS(kPauseMs);
    }
  }
}

/// Asks twice before it gives up, so that a source that only woke up is not kept waiting. Asks for
/// nothing after a flush or a disconnect that came while it waited for the lock.
CoreAudioOutput::Pull CoreAudioOutput::pullFromPeer() {
  const boost::recursive_mutex::scoped_lock lock(m_configLock);
  PortInterface* peer = m_port->m_peer;
  Pull pull{.streamId = m_streamId, .clears = m_clears};
  if (peer == nullptr || !m_playing) {
    return pull;
  }
  pull.asked = true;
  pull.buffer = askForBuffer(*peer);
  if (pull.buffer == nullptr) {
    pull.buffer = askForBuffer(*peer);
  }
  return pull;
}

void CoreAudioOutput::queueOrDrop(const Pull& pull) {
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
  if (!pushBack(record, pull.clears)) {
    buffer->release();
  }
}

/// The session may be left at any time once nothing plays; see m_feederUsesSession.
bool CoreAudioOutput::reportIfLate(const Pull& pull) {
  m_feederUsesSession = true;
  const bool late = pull.buffer->timeStamp + pull.buffer->duration < graphTime();
  if (late) {
    reportBuffer(pull.streamId, BufferState::kDroppedLate, pull.buffer);
  }
  m_feederUsesSession = false;
  m_feederUsesSession.notify_all();
  return late;
}

}  // namespace Tavro
