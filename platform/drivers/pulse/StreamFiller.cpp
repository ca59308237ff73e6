// SPDX-License-Identifier: MIT

#include "platform/drivers/pulse/StreamFiller.h"

#include <utility>

#include "time/HostTime.h"

namespace Platform {
namespace {

constexpr std::uint32_t kFirstBurstsMs = 40;
constexpr std::uint32_t kRestCycles = 2;  // after filling the buffer
constexpr std::uint32_t kCyclesAtATime = 3;

}  // namespace

StreamFiller::StreamFiller(PulseConnection& connection, const StreamConfig& plan,
                           CycleSource& source, StreamTiming& timing)
    : m_connection(connection), m_plan(plan), m_source(source), m_timing(timing) {}

void StreamFiller::fillRoomOf(pa_stream* stream) {
  if (std::exchange(m_stream, stream) == nullptr) {
    fillAtFirst();
  } else if (!m_rests) {
    fill(kCyclesAtATime);
  }
}

void StreamFiller::cancel() {
  if (m_later != nullptr) {
    m_connection.api()->time_free(std::exchange(m_later, nullptr));
  }
}

/// Sound is available when the device starts, and should be played soon. Bursts come later.
void StreamFiller::fillAtFirst() {
  fill(m_plan.cyclesOf(m_plan.bursts ? kFirstBurstsMs : kServerBufferMs));
  if (!m_plan.bursts && !m_nobodyPlays) {
    m_rests = true;
    fillLater(kRestCycles);
  }
}

/// The server requests what it lacks only once: the rest is written without a further request.
void StreamFiller::onLater(pa_mainloop_api* api, pa_time_event* event, const timeval* /*time*/,
                           void* self) {
  auto& one = *static_cast<StreamFiller*>(self);
  api->time_free(event);
  one.m_later = nullptr;
  one.m_rests = false;
  one.fill(kCyclesAtATime);
}

void StreamFiller::fill(std::uint32_t mostCycles) {
  for (std::uint32_t i = 0; (i < mostCycles || isRunningDry()) && !m_nobodyPlays && hasRoom();
       ++i) {
    m_nobodyPlays = m_source.cycle(CycleSource::kUsualFrames, Tavro::HostTime::now()) == 0;
  }
  if (m_nobodyPlays) {
    return;  // the next client gets another stream
  }
  m_timing.update(m_stream);
  if (hasRoom()) {
    fillLater(1);
  } else {
    m_wasFull = true;
  }
}

bool StreamFiller::hasRoom() const {
  const std::size_t room = pa_stream_writable_size(m_stream);
  return room != static_cast<std::size_t>(-1) && room >= m_plan.cycleBytes();
}

/// Returns true if it was full before and is now less than half full.
bool StreamFiller::isRunningDry() const {
  const pa_buffer_attr* const attributes =
      m_wasFull ? pa_stream_get_buffer_attr(m_stream) : nullptr;
  return attributes != nullptr && pa_stream_writable_size(m_stream) > attributes->tlength / 2;
}

void StreamFiller::fillLater(std::uint32_t cycles) {
  if (m_later == nullptr) {
    const pa_usec_t waitUs =
        std::uint64_t{cycles} * m_plan.cycleFrames * 1'000'000 / m_plan.spec.rate;
    m_later =
        pa_context_rttime_new(m_connection.context(), pa_rtclock_now() + waitUs, onLater, this);
  }
}

}  // namespace Platform
