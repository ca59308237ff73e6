// SPDX-License-Identifier: MIT

#include <algorithm>
#include <cstring>

#include "feed/Callbacks.h"

// The PCM render callback: fills the requested frames from the queue, in step with the graph clock.
// While not synced, it aligns the front buffer with the clock: an early one waits while silence
// plays, an entirely late one is dropped, a partly late one is entered where the clock is. Once
// synced, it ignores the clock: buffers play back to back as long as none starts more than 10 ms
// after the end of the previous one.
//
// Locks: the queue lock around each queue operation, the counter lock once at the end. The bytes
// are copied without a lock. All media time is unsigned 32-bit milliseconds and wraps.

namespace Tavro {
namespace {

constexpr std::uint32_t kLargestGapMs = 10;

std::uint32_t graphTimeOf(const Feed& feed) TAVRO_NONBLOCKING {
  TAVRO_CALLS_OUT(return feed.graphTime();)
}

std::uint64_t hostTimeMs() TAVRO_NONBLOCKING { TAVRO_CALLS_OUT(return GetTimeMS();) }

}  // namespace

/// One call of the callback. m_front is a copy of the taken front of the queue; it has no buffer
/// while no front is taken.
class RenderPass {
 public:
  RenderPass(Feed& feed, const PcmStream& stream, AudioUnitRenderActionFlags* flags, UInt32 frames,
             AudioBuffer& target);
  void run();

 private:
  enum class Filling { Done, Silence };
  struct Piece {  // the unplayed rest of m_front, milliseconds of the graph clock
    std::uint32_t time;
    std::uint32_t duration;
  };

  bool begin();
  Filling fill();
  bool startsTooLate() const;
  bool isWhollyLate() const;
  void dropFront() TAVRO_NONBLOCKING;
  void playFront() TAVRO_NONBLOCKING;
  void enterAtClock(Piece& piece);
  void finishFront() TAVRO_NONBLOCKING;
  void nextFront() TAVRO_NONBLOCKING;
  void leaveFront();
  void padWithZeros();
  void fillWithSilence();

  Feed& m_feed;
  const PcmStream& m_stream;
  AudioUnitRenderActionFlags* m_flags;
  AudioBuffer& m_target;           // its mDataByteSize: bytes filled so far
  const std::uint32_t m_capacity;  // bytes that may be written
  const std::uint32_t m_bytes;     // requested
  const std::uint32_t m_now;       // graph time
  const std::uint64_t m_wall;      // host milliseconds
  QueuedBuffer m_front;
};

RenderPass::RenderPass(Feed& feed, const PcmStream& stream, AudioUnitRenderActionFlags* flags,
                       UInt32 frames, AudioBuffer& target)
    : m_feed(feed),
      m_stream(stream),
      m_flags(flags),
      m_target(target),
      m_capacity(target.mData != nullptr ? target.mDataByteSize : 0),
      m_bytes(frames * stream.format.mBytesPerFrame),
      m_now(graphTimeOf(feed)),
      m_wall(hostTimeMs()) {}

void RenderPass::run() {
  bool silent = !begin() || fill() == Filling::Silence;
  if (!silent && m_target.mDataByteSize == 0) {  // every buffer was late or empty
    m_feed.m_synced = false;
    silent = true;
  }
  leaveFront();
  if (silent) {
    fillWithSilence();
  } else {
    padWithZeros();
  }
  m_feed.countCallback(m_wall, m_bytes);
}

/// Returns false if the call can only play silence.
bool RenderPass::begin() {
  if (!m_feed.takeFront(m_front)) {
    return false;  // still synced, if data comes in time
  }
  if (m_stream.peer == nullptr || m_capacity < m_bytes) {
    m_feed.m_synced = false;
    return false;
  }
  m_target.mDataByteSize = 0;
  return true;
}

RenderPass::Filling RenderPass::fill() {
  while (m_target.mDataByteSize < m_bytes && m_front.m_buffer != nullptr) {
    if (m_front.m_position >= m_front.m_size) {  // an empty buffer counts as played
      finishFront();
    } else if (startsTooLate()) {
      return Filling::Silence;
    } else if (isWhollyLate()) {
      dropFront();
    } else {
      playFront();
    }
  }
  return Filling::Done;
}

/// Returns true if the front must wait: it is early, or leaves too large a gap after what was
/// played.
bool RenderPass::startsTooLate() const {
  if (!m_feed.m_synced) {
    return m_front.m_timeStamp > m_now;
  }
  if (m_front.m_timeStamp > m_feed.m_lastEndTime + kLargestGapMs) {
    m_feed.m_synced = false;
    return true;
  }
  return false;
}

bool RenderPass::isWhollyLate() const {
  return !m_feed.m_synced && m_front.m_timeStamp != 0 &&
         m_now > m_front.m_timeStamp + m_front.m_duration;
}

void RenderPass::dropFront() TAVRO_NONBLOCKING {
  TAVRO_CALLS_OUT(
      m_feed.reportBuffer(m_feed.m_streamId, BufferState::kDroppedLate, m_front.m_buffer);)
  nextFront();
}

void RenderPass::playFront() TAVRO_NONBLOCKING {
  TAVRO_CALLS_OUT(m_front.lockData();)
  Piece piece{};
  piece.time =
      m_front.m_timeStamp + static_cast<std::uint32_t>(std::uint64_t{m_front.m_duration} *
                                                       m_front.m_position / m_front.m_size);
  piece.duration = m_front.m_duration - (piece.time - m_front.m_timeStamp);
  if (!m_feed.m_synced) {
    enterAtClock(piece);
  }
  const std::uint32_t bytes =
      std::min(m_front.m_size - m_front.m_position, m_bytes - m_target.mDataByteSize);
  TAVRO_CALLS_OUT(m_feed.reportBuffer(m_feed.m_streamId, BufferState::kPlaying, m_front.m_buffer);)
  std::memcpy(static_cast<std::uint8_t*>(m_target.mData) + m_target.mDataByteSize,
              m_front.m_data + m_front.m_position, bytes);
  TAVRO_CALLS_OUT(m_front.unlockData();)
  m_target.mDataByteSize += bytes;
  m_front.m_position += bytes;
  m_feed.m_lastEndTime = piece.time + piece.duration;
  m_feed.m_synced = true;
  if (m_front.m_position == m_front.m_size) {
    finishFront();
  } else {
    leaveFront();
  }
}

/// If the clock is inside the piece, skips whole frames up to its position.
void RenderPass::enterAtClock(Piece& piece) {
  if (piece.time == 0 || !(piece.time < m_now && m_now < piece.time + piece.duration)) {
    return;
  }
  const std::uint32_t frameBytes = m_stream.format.mBytesPerFrame;
  const std::uint32_t late = m_now - piece.time;
  const std::uint64_t frames = (m_front.m_size - m_front.m_position) / frameBytes;
  m_front.m_position += static_cast<std::uint32_t>(frames * late / piece.duration) * frameBytes;
  piece.time += late;
  piece.duration -= late;
}

void RenderPass::finishFront() TAVRO_NONBLOCKING {
  TAVRO_CALLS_OUT(m_feed.reportBuffer(m_feed.m_streamId, BufferState::kPlayed, m_front.m_buffer);)
  nextFront();
}

void RenderPass::nextFront() TAVRO_NONBLOCKING {
  TAVRO_CALLS_OUT(m_front.release();)
  if (!m_feed.popFrontAndTakeNext(m_front)) {
    m_feed.m_synced = false;  // the queue was cleared meanwhile: align again
  }
}

/// Puts the rest of the front back into the queue.
void RenderPass::leaveFront() {
  if (m_front.m_buffer != nullptr && !m_feed.putBackFront(m_front)) {
    m_feed.m_synced = false;  // cleared meanwhile
  }
  m_front = {};
}

void RenderPass::padWithZeros() {
  const std::uint32_t filled = m_target.mDataByteSize;
  std::memset(static_cast<std::uint8_t*>(m_target.mData) + filled, 0, m_bytes - filled);
  m_target.mDataByteSize = m_bytes;
  m_target.mNumberChannels = m_stream.format.mChannelsPerFrame;
}

/// Fills the request, or as much as there is room for. Overwrites what this call has copied.
void RenderPass::fillWithSilence() {
  const std::uint32_t bytes = std::min(m_bytes, m_capacity);
  if (bytes != 0) {
    std::memset(m_target.mData, 0, bytes);
  }
  m_target.mDataByteSize = bytes;
  m_target.mNumberChannels = m_stream.format.mChannelsPerFrame;
  *m_flags |= kAudioUnitRenderAction_OutputIsSilence;
}

void renderPcm(Feed& feed, const PcmStream& stream, AudioUnitRenderActionFlags* flags,
               UInt32 frames, AudioBufferList* target) TAVRO_NONBLOCKING {
  RenderPass(feed, stream, flags, frames, target->mBuffers[0]).run();
}

}  // namespace Tavro
