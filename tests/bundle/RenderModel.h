#pragma once

#include <cstdint>
#include <deque>
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
    std::vector<std::uint8_t> bytes;
    bool silent;
  };

  explicit RenderModel(std::uint32_t streamId) : m_streamId(streamId) {}

  // Events.
  void rebuild(const Shape& shape);
  void ready() { m_playing = true; }
  void start();
  void stop();
  void flush();

  /// The feeder's turn, from one pause to the next: takes from `upstream` what there is room for.
  void feed(std::deque<FakeBuffer*>& upstream, std::uint32_t nowMs);

  Sound render(std::uint32_t frames, std::uint32_t nowMs, std::uint64_t wallMs);
  std::uint32_t currentTime(std::uint64_t wallMs) const;

  bool isReady() const { return m_queue.size() > 2; }
  std::vector<Report> takeReports();
  const std::vector<FakeBuffer*>& released() const { return m_released; }

 private:
  struct Record {
    FakeBuffer* buffer;
    std::uint32_t position;
  };

  bool copyPiece(Sound& sound, std::uint32_t wanted, std::uint32_t nowMs);
  void report(std::uint32_t state, FakeBuffer* buffer);
  void releaseFront();

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
