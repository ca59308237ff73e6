// SPDX-License-Identifier: MIT

#pragma once

#include <pulse/pulseaudio.h>

#include "platform/drivers/pulse/StreamConfig.h"

namespace Platform {

/// How far the server has played a stream: asks it, and derives latency and drift from its replies.
/// Under libpulse's lock.
class StreamTiming {
 public:
  /// Both outlive it.
  StreamTiming(const StreamConfig& plan, StreamStats& figures) : m_plan(plan), m_figures(figures) {}

  /// Adopts the last reply, and asks for the next one unless that is under way.
  void update(pa_stream* stream);
  /// No reply is awaited any more. Call before the stream ends.
  void cancel();

 private:
  static void onReply(pa_stream* stream, int success, void* self);
  void readLatency(pa_stream* stream);
  void measureDrift(pa_stream* stream);

  const StreamConfig& m_plan;
  StreamStats& m_figures;
  pa_operation* m_request = nullptr;
};

}  // namespace Platform
