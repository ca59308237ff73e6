// SPDX-License-Identifier: MIT

#include "check/model/RenderModel.h"

#include <algorithm>

namespace Check {
namespace {

constexpr std::size_t kQueueLimit = 10;
constexpr std::uint32_t kLargestGapMs = 10;

std::uint32_t sizeOf(const RecordedBuffer& buffer) {
  return static_cast<std::uint32_t>(buffer.content().size());
}

}  // namespace

void RenderModel::rebuild(const Shape& shape) {
  flush();
  m_shape = shape;
  m_playing = m_running;
}

void RenderModel::stop() {
  m_playing = m_running = false;
  m_lastCallMs = 0;
}

void RenderModel::flush() {
  while (!m_queue.empty()) {
    releaseFront();
  }
  m_playing = false;
  m_synced = false;
  m_lastCallMs = 0;
}

void RenderModel::feed(std::deque<RecordedBuffer*>& upstream, std::uint32_t nowMs) {
  while (m_playing && m_queue.size() < kQueueLimit && !upstream.empty()) {
    RecordedBuffer* buffer = upstream.front();
    upstream.pop_front();
    if (buffer->timeStamp + buffer->duration < nowMs) {
      report(Tavro::BufferState::kDroppedLate, buffer);
      m_released.push_back(buffer);
    } else {
      m_queue.push_back({buffer, 0});
    }
  }
}

RenderModel::Sound RenderModel::render(std::uint32_t frames, std::uint32_t nowMs,
                                       std::uint64_t hostMs) {
  const std::uint32_t wanted = frames * m_shape.frameBytes();
  Sound sound{{}, false};
  const bool hadNothing = m_queue.empty();
  while (!sound.silent && sound.bytes.size() < wanted && !m_queue.empty()) {
    sound.silent = !handleFront(sound, wanted, nowMs);
  }
  if (sound.bytes.empty() && !sound.silent && !hadNothing) {
    m_synced = false;  // everything was late
  }
  if (sound.silent || sound.bytes.empty()) {
    sound = {{}, true};
  }
  sound.bytes.resize(wanted, 0);
  m_lastCallMs = hostMs;
  m_bytesRendered += wanted;
  return sound;
}

/// Plays what fits of the front, or drops it. Returns false if it is too early.
bool RenderModel::handleFront(Sound& sound, std::uint32_t wanted, std::uint32_t nowMs) {
  RecordedBuffer* buffer = m_queue.front().buffer;
  const std::uint32_t begin = buffer->timeStamp;
  if (m_synced ? begin > m_lastEndMs + kLargestGapMs : begin > nowMs) {
    m_synced = false;
    return false;
  }
  if (!m_synced && begin != 0 && nowMs > begin + buffer->duration) {
    report(Tavro::BufferState::kDroppedLate, buffer);
    releaseFront();
  } else {
    playFront(sound, wanted, nowMs);
  }
  return true;
}

void RenderModel::playFront(Sound& sound, std::uint32_t wanted, std::uint32_t nowMs) {
  Record& front = m_queue.front();
  RecordedBuffer* buffer = front.buffer;
  const std::uint32_t size = sizeOf(*buffer);
  const std::uint32_t time = buffer->timeStamp + buffer->duration * front.position / size;
  const std::uint32_t left = buffer->duration - (time - buffer->timeStamp);
  if (!m_synced && time != 0 && time < nowMs && nowMs < time + left) {
    const std::uint32_t frames = (size - front.position) / m_shape.frameBytes();
    front.position += frames * (nowMs - time) / left * m_shape.frameBytes();
  }
  const std::uint32_t count =
      std::min(size - front.position, wanted - static_cast<std::uint32_t>(sound.bytes.size()));
  report(Tavro::BufferState::kPlaying, buffer);
  const auto from = buffer->content().begin() + front.position;
  sound.bytes.insert(sound.bytes.end(), from, from + count);
  front.position += count;
  m_lastEndMs = buffer->timeStamp + buffer->duration;
  m_synced = true;
  if (front.position == size) {
    report(Tavro::BufferState::kPlayed, buffer);
    releaseFront();
  }
}

std::uint32_t RenderModel::currentTime(std::uint64_t hostMs) const {
  const std::uint64_t bytesPerSecond = std::uint64_t{m_shape.sampleRate} * m_shape.frameBytes();
  const std::uint64_t elapsed = m_lastCallMs == 0 ? 0 : hostMs - m_lastCallMs;
  return static_cast<std::uint32_t>(m_bytesRendered * 1000 / bytesPerSecond + elapsed);
}

void RenderModel::report(std::uint32_t state, RecordedBuffer* buffer) {
  m_reports.push_back({m_streamId, state, buffer});
}

void RenderModel::releaseFront() {
  m_released.push_back(m_queue.front().buffer);
  m_queue.pop_front();
}

}  // namespace Check
