#include "RenderModel.h"

#include <algorithm>
#include <utility>

void RenderModel::rebuild(const Shape& shape) {
  flush();
  m_shape = shape;
  m_playing = m_running;
}

void RenderModel::start() { m_playing = m_running = true; }

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

void RenderModel::feed(std::deque<FakeBuffer*>& upstream, std::uint32_t nowMs) {
  while (m_playing && m_queue.size() < 10 && !upstream.empty()) {
    FakeBuffer* buffer = upstream.front();
    upstream.pop_front();
    m_queue.push_back({buffer, 0});
    if (buffer->timeStamp + buffer->duration < nowMs) {
      report(4, buffer);
      m_queue.pop_back();
      m_released.push_back(buffer);
    }
  }
}

RenderModel::Sound RenderModel::render(std::uint32_t frames, std::uint32_t nowMs,
                                       std::uint64_t wallMs) {
  const std::uint32_t wanted = frames * m_shape.channels * m_shape.bytesPerSample;
  Sound sound{{}, false};
  const bool hadNothing = m_queue.empty();
  while (!sound.silent && sound.bytes.size() < wanted && !m_queue.empty()) {
    sound.silent = !copyPiece(sound, wanted, nowMs);
  }
  if (sound.bytes.empty() && !sound.silent && !hadNothing) {
    m_synced = false;  // there was something, and nothing of it could be used
  }
  if (sound.silent || sound.bytes.empty()) {
    sound = {{}, true};
  }
  sound.bytes.resize(wanted, 0);
  m_lastCallMs = wallMs;
  m_bytesRendered += wanted;
  return sound;
}

/// Deals with the front record: plays what fits, drops it as late, or (false) finds it too early.
bool RenderModel::copyPiece(Sound& sound, std::uint32_t wanted, std::uint32_t nowMs) {
  Record& front = m_queue.front();
  FakeBuffer* buffer = front.buffer;
  const std::uint32_t begin = buffer->timeStamp;
  const std::uint32_t end = buffer->timeStamp + buffer->duration;
  if (m_synced ? begin > m_lastEndMs + 10 : begin > nowMs) {
    m_synced = false;
    return false;
  }
  if (!m_synced && begin != 0 && nowMs > end) {
    report(4, buffer);
    releaseFront();
    return true;
  }
  const auto size = static_cast<std::uint32_t>(buffer->content().size());
  const std::uint32_t at = begin + buffer->duration * front.position / size;
  const std::uint32_t length = buffer->duration - (at - begin);
  if (!m_synced && at != 0 && at < nowMs && nowMs < at + length) {
    const std::uint32_t frameBytes = m_shape.channels * m_shape.bytesPerSample;
    const std::uint32_t frames = (size - front.position) / frameBytes;
    front.position += frames * (nowMs - at) / length * frameBytes;
  }
  const std::uint32_t count =
      std::min(size - front.position, wanted - static_cast<std::uint32_t>(sound.bytes.size()));
  report(2, buffer);
  const auto from = buffer->content().begin() + front.position;
  sound.bytes.insert(sound.bytes.end(), from, from + count);
  front.position += count;
  m_lastEndMs = end;
  m_synced = true;
  if (front.position == size) {
    report(3, buffer);
    releaseFront();
  }
  return true;
}

std::uint32_t RenderModel::currentTime(std::uint64_t wallMs) const {
  const std::uint64_t bytesPerSecond =
      std::uint64_t{m_shape.sampleRate} * m_shape.channels * m_shape.bytesPerSample;
  const std::uint64_t elapsed = m_lastCallMs == 0 ? 0 : wallMs - m_lastCallMs;
  return static_cast<std::uint32_t>(m_bytesRendered * 1000 / bytesPerSecond + elapsed);
}

void RenderModel::report(std::uint32_t state, FakeBuffer* buffer) {
  m_reports.push_back({m_streamId, state, buffer});
}

void RenderModel::releaseFront() {
  m_released.push_back(m_queue.front().buffer);
  m_queue.pop_front();
}

std::vector<Report> RenderModel::takeReports() { return std::exchange(m_reports, {}); }
