// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <chrono>
#include <mutex>
#include <string>
#include <thread>

#include "tests/support/Wave.h"

/// The reader of a server's pipe sink, which makes it the sink's clock: what it takes out of the
/// pipe is what the sink plays, and when. It keeps to a timeline: late once, it takes more at once,
/// as long as the pipe holds it. Its sound is 16 bit stereo at 48 kHz.
class PipeSink {
 public:
  /// `speed`: seconds of sound a second.
  explicit PipeSink(const std::string& pipe, double speed = 1);
  ~PipeSink();
  PipeSink(const PipeSink&) = delete;
  PipeSink& operator=(const PipeSink&) = delete;

  /// Takes nothing for so long, and continues from there.
  void stall(std::chrono::milliseconds time);
  /// Takes so much at once, as fast as the server can make it.
  void jump(std::chrono::milliseconds sound);

  Bytes played() const;  // so far

 private:
  void run();
  double dueBytes(std::chrono::steady_clock::time_point now);
  bool take(std::size_t byteCount);

  const double m_speed;
  const int m_pipe;

  mutable std::mutex m_lock;
  Bytes m_played;                                 // guarded by m_lock, as the timeline is
  std::chrono::steady_clock::time_point m_since;  // when the timeline began, or went on
  double m_before = 0;                            // bytes due by then

  std::atomic<bool> m_ends{false};
  std::thread m_thread;
};
