// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

#include "check/record/RecordedBuffer.h"
#include "check/record/RecordingSession.h"

namespace Check {

/// What a component does with buffers, as plainly as possible: one thread, no locks, every quantity
/// computed where it is used. A bundle under check must agree with it after every step.
///
/// A record at the front of the queue is, in this order: too early, and silence plays; wholly late,
/// and dropped; or played from where it is, or from where the clock is if it is partly late. While
/// synced, the clock is not consulted: buffers play back to back unless one starts more than 10 ms
/// after the end of the one before.
class RenderModel {
 public:
  struct Shape {
    std::uint32_t sampleRate, channels, bytesPerSample;
    std::uint32_t frameBytes() const { return channels * bytesPerSample; }
  };
  struct Sound {
    Bytes bytes;
    bool silent;  // flagged as silence
  };

  explicit RenderModel(std::uint32_t streamId) : m_streamId(streamId) {}

  void rebuild(const Shape& shape);
  void ready() { m_playing = true; }
  void start() { m_playing = m_running = true; }
  void stop();
  void flush();

  /// The feeder's turn, from one pause to the next: takes from `upstream` what there is room for.
  void feed(std::deque<RecordedBuffer*>& upstream, std::uint32_t nowMs);

  /// One call of the render callback: graph time and host time, in milliseconds.
  Sound render(std::uint32_t frames, std::uint32_t nowMs, std::uint64_t hostMs);

  std::uint32_t currentTime(std::uint64_t hostMs) const;  // of the time base, milliseconds
  bool isReady() const { return m_queue.size() > 2; }
  std::vector<Report> takeReports() { return std::exchange(m_reports, {}); }
  const std::vector<RecordedBuffer*>& released() const { return m_released; }

 private:
  struct Record {
    RecordedBuffer* buffer;
    std::uint32_t position;  // bytes
  };

  bool handleFront(Sound& sound, std::uint32_t wanted, std::uint32_t nowMs);
  void playFront(Sound& sound, std::uint32_t wanted, std::uint32_t nowMs);
  void report(std::uint32_t state, RecordedBuffer* buffer);
  void releaseFront();

  std::uint32_t m_streamId;
  Shape m_shape{};
  bool m_playing = false;
  bool m_running = false;
  bool m_synced = false;
  std::uint32_t m_lastEndMs = 0;
  std::uint64_t m_bytesRendered = 0;
  std::uint64_t m_lastCallMs = 0;  // 0: none since the last stop, flush or rebuild
  std::deque<Record> m_queue;
  std::vector<Report> m_reports;
  std::vector<RecordedBuffer*> m_released;
};

}  // namespace Check
