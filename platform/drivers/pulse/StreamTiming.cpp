// SPDX-License-Identifier: MIT

#include "platform/drivers/pulse/StreamTiming.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "time/HostTime.h"

namespace Platform {
namespace {

constexpr pa_usec_t kMostTransportUs = 50'000;  // a later reply is too inexact to measure with

}  // namespace

void StreamTiming::update(pa_stream* stream) {
  readLatency(stream);
  if (m_request == nullptr) {
    m_request = pa_stream_update_timing_info(stream, onReply, this);
  }
}

void StreamTiming::cancel() {
  if (m_request != nullptr) {
    pa_operation_cancel(m_request);
    pa_operation_unref(std::exchange(m_request, nullptr));
  }
}

void StreamTiming::onReply(pa_stream* stream, int /*success*/, void* self) {
  auto& one = *static_cast<StreamTiming*>(self);
  if (one.m_request != nullptr) {
    pa_operation_unref(std::exchange(one.m_request, nullptr));
  }
  one.readLatency(stream);
  one.measureDrift(stream);
}

/// Uses the last reply without extrapolation: only what the server reports as played counts.
void StreamTiming::readLatency(pa_stream* stream) {
  const pa_timing_info* const timing = pa_stream_get_timing_info(stream);
  if (timing == nullptr || timing->write_index_corrupt != 0 || timing->read_index_corrupt != 0) {
    return;
  }
  const std::int64_t queued = std::max<std::int64_t>(timing->write_index - timing->read_index, 0);
  const pa_usec_t sinkUs =
      timing->sink_usec != 0 ? timing->sink_usec : timing->configured_sink_usec;
  const std::uint64_t beyond = (sinkUs + timing->transport_usec) * m_plan.spec.rate / 1'000'000;
  m_figures.latencyFrames.store(static_cast<std::uint32_t>(
      static_cast<std::uint64_t>(queued) / m_plan.frameBytes() + beyond));
}

/// Runs when the reply comes. The server was paused if it had nothing to play.
void StreamTiming::measureDrift(pa_stream* stream) {
  const pa_timing_info* const timing = pa_stream_get_timing_info(stream);
  if (timing == nullptr || timing->playing == 0 || timing->read_index_corrupt != 0 ||
      timing->transport_usec > kMostTransportUs) {
    m_figures.drift.interrupt();
    return;
  }
  const double beyond = static_cast<double>(timing->sink_usec) * m_plan.spec.rate / 1e6;
  const auto heard =
      timing->read_index / static_cast<std::int64_t>(m_plan.frameBytes()) - std::llround(beyond);
  m_figures.drift.addSample(Tavro::HostTime::now() - timing->transport_usec * 1000, heard,
                            m_plan.spec.rate);
}

}  // namespace Platform
