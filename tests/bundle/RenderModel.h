// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

#include "fakes/FakeBuffer.h"
#include "fakes/FakeSession.h"

/// What the component does with buffers, told a second time as plainly as possible: one thread,
/// no locks, every quantity computed where it is used. Tests compare the bundle with it.
class RenderModel {
 public:
  struct Shape {
    std::uint32_t sampleRate, channels, bytesPerSample;
  };
  struct Sound {
    Bytes bytes;
    bool silent;
  };

  explicit RenderModel(std::uint32_t streamId) : m_streamId(streamId) {}

  void rebuild(const Shape& shape) {
    flush();
    m_shape = shape;
    m_playing = m_running;
  }

  void ready() { m_playing = true; }
  void start() { m_playing = m_running = true; }

  void stop() {
    m_playing = m_running = false;
    m_lastCallMs = 0;
  }

  void flush() {
    while (!m_queue.empty()) {
      releaseFront();
    }
    m_playing = false;
    m_synced = false;
    m_lastCallMs = 0;
  }

  /// The feeder's turn, from one pause to the next: takes from `upstream` what there is room for.
  void feed(std::deque<FakeBuffer*>& upstream, std::uint32_t nowMs) {
    while (m_playing && m_queue.size() < 10 && !upstream.empty()) {
      FakeBuffer* buffer = upstream.front();
      upstream.pop_front();
      if (buffer->timeStamp + buffer->duration < nowMs) {
        report(4, buffer);
        m_released.push_back(buffer);
      } else {
        m_queue.push_back({buffer, 0});
      }
    }
  }

  Sound render(std::uint32_t frames, std::uint32_t nowMs, std::uint64_t wallMs) {
    const std::uint32_t wanted = frames * frameBytes();
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

  std::uint32_t currentTime(std::uint64_t wallMs) const {
    const std::uint64_t bytesPerSecond = std::uint64_t{m_shape.sampleRate} * frameBytes();
    const std::uint64_t elapsed = m_lastCallMs == 0 ? 0 : wallMs - m_lastCallMs;
    return static_cast<std::uint32_t>(m_bytesRendered * 1000 / bytesPerSecond + elapsed);
  }

  bool isReady() const { return m_queue.size() > 2; }
  std::vector<Report> takeReports() { return std::exchange(m_reports, {}); }
  const std::vector<FakeBuffer*>& released() const { return m_released; }

 private:
  struct Record {
    FakeBuffer* buffer;
    std::uint32_t position;
  };

  /// Deals with the front record: plays what fits, drops it as late, or (false) finds it too early.
  bool copyPiece(Sound& sound, std::uint32_t wanted, std::uint32_t nowMs) {
    Record& front = m_queue.front();
    FakeBuffer* buffer = front.buffer;
    const auto size = static_cast<std::uint32_t>(buffer->content().size());
    if (size == 0) {  // played at once, whatever its time
      report(3, buffer);
      releaseFront();
      return true;
    }
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
    const std::uint32_t at = begin + buffer->duration * front.position / size;
    const std::uint32_t length = buffer->duration - (at - begin);
    if (!m_synced && at != 0 && at < nowMs && nowMs < at + length) {
      const std::uint32_t frames = (size - front.position) / frameBytes();
      front.position += frames * (nowMs - at) / length * frameBytes();
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

  std::uint32_t frameBytes() const { return m_shape.channels * m_shape.bytesPerSample; }

  void report(std::uint32_t state, FakeBuffer* buffer) {
    m_reports.push_back({m_streamId, state, buffer});
  }

  void releaseFront() {
    m_released.push_back(m_queue.front().buffer);
    m_queue.pop_front();
  }

  std::uint32_t m_streamId;
  Shape m_shape{};
  bool m_playing = false;
  bool m_running = false;
  bool m_synced = false;
  std::uint32_t m_lastEndMs = 0;
  std::uint64_t m_bytesRendered = 0;
  std::uint64_t m_lastCallMs = 0;
  std::deque<Record> m_queue;
  std::vector<Report> m_reports;
  std::vector<FakeBuffer*> m_released;
};
