// SPDX-License-Identifier: MIT

#include "platform/drivers/pulse/PulseStream.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <utility>

#include "time/HostTime.h"

namespace Platform {
namespace {

constexpr std::uint32_t kBufferMs = 160;  // a busy machine delays a thread by more than 80 ms
constexpr std::uint32_t kFirstBurstsMs = 40;
constexpr std::uint32_t kRestCycles = 2;   // after filling the buffer
constexpr std::uint32_t kLeastCycles = 4;  // in the buffer
constexpr std::uint32_t kCyclesAtATime = 3;

constexpr pa_usec_t kMostTransportUs = 50'000;  // a later reply is too inexact to measure with

constexpr auto kFlags =
    static_cast<pa_stream_flags_t>(PA_STREAM_DONT_MOVE | PA_STREAM_ADJUST_LATENCY);

void cancel(pa_operation*& operation) {
  if (operation != nullptr) {
    pa_operation_cancel(operation);
    pa_operation_unref(std::exchange(operation, nullptr));
  }
}

/// Returns how many cycles last at least so long.
std::uint32_t cyclesOf(const StreamConfig& plan, std::uint32_t milliseconds) {
  return (plan.spec.rate / 1000 * milliseconds + plan.cycleFrames - 1) / plan.cycleFrames;
}

OSStatus statusOf(int error) {
  switch (error) {
    case PA_ERR_BUSY:
      return kAudioDevicePermissionsError;
    case PA_ERR_NOTSUPPORTED:
      return kAudioDeviceUnsupportedFormatError;
    case PA_ERR_NOENTITY:
    case PA_ERR_KILLED:
    case PA_ERR_CONNECTIONTERMINATED:
      return kAudioHardwareBadDeviceError;
    default:
      return kAudioHardwareUnspecifiedError;
  }
}

}  // namespace

std::uint32_t PulseStream::bufferFrames(const StreamConfig& plan) {
  return std::max(cyclesOf(plan, kBufferMs), kLeastCycles) * plan.cycleFrames;
}

PulseStream::PulseStream(std::shared_ptr<PulseConnection> connection, const StreamConfig& plan,
                         CycleSource& source, StreamStats& figures, StreamListener& listener)
    : m_connection(std::move(connection)),
      m_plan(plan),
      m_source(source),
      m_frameBytes(pa_frame_size(&m_plan.spec)),
      m_figures(figures),
      m_listener(listener) {
  m_figures.latencyFrames.store(bufferFrames(m_plan));
  m_figures.drift.interrupt();
  m_figures.endedAt.store(0);
  m_figures.suspended.store(false);
}

void PulseStream::close() {
  const PulseConnection::Hold hold(*m_connection);
  if (m_later != nullptr) {
    m_connection->api()->time_free(std::exchange(m_later, nullptr));
  }
  cancel(m_timing);
  if (m_stream != nullptr) {
    pa_stream_set_state_callback(m_stream, nullptr, nullptr);
    pa_stream_set_suspended_callback(m_stream, nullptr, nullptr);
    pa_stream_set_write_callback(m_stream, nullptr, nullptr);
    pa_stream_set_underflow_callback(m_stream, nullptr, nullptr);
    m_connection->end(std::exchange(m_stream, nullptr));
  }
}

OSStatus PulseStream::open() {
  const PulseConnection::Hold hold(*m_connection);
  return connect() ? OSStatus{noErr} : refused(pa_context_errno(m_connection->context()));
}

/// The server refuses bursts beside any other stream, including those that are ending.
OSStatus PulseStream::openAndWait() {
  const PulseConnection::Hold hold(*m_connection);
  m_connection->waitUntil([this] { return m_connection->areAllEnded(); });
  if (!connect()) {
    return refused(pa_context_errno(m_connection->context()));
  }
  const bool answered = m_connection->waitUntil(
      [this] { return pa_stream_get_state(m_stream) != PA_STREAM_CREATING; });
  if (!answered) {
    return refused(PA_ERR_TIMEOUT);
  }
  return m_refusal;
}

bool PulseStream::connect() {
  m_stream = m_plan.bursts ? m_connection->newStream("AC-3", burstFormat(m_plan.spec.rate).get())
                           : m_connection->newStream("Sound", m_plan.spec, m_plan.map);
  if (m_stream == nullptr) {
    return false;
  }
  pa_stream_set_state_callback(m_stream, onState, this);
  pa_stream_set_suspended_callback(m_stream, onSuspended, this);
  pa_stream_set_write_callback(m_stream, onRoom, this);
  pa_stream_set_underflow_callback(m_stream, onUnderrun, this);
  const auto bytes = static_cast<std::uint32_t>(bufferFrames(m_plan) * m_frameBytes);
  const auto cycleBytes = static_cast<std::uint32_t>(m_plan.cycleFrames * m_frameBytes);
  const pa_buffer_attr attributes{.maxlength = UINT32_MAX,
                                  .tlength = bytes,
                                  .prebuf = bytes - cycleBytes,
                                  .minreq = cycleBytes,
                                  .fragsize = UINT32_MAX};
  return pa_stream_connect_playback(m_stream, m_plan.sink.c_str(), &attributes, kFlags, nullptr,
                                    nullptr) == 0;
}

/// Records the failure for the device. Burst clients check the status of the start, and may fall
/// back to PCM. The loss of the server is reported elsewhere.
OSStatus PulseStream::refused(int error) {
  if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(m_connection->context()))) {
    return m_refusal = kAudioHardwareBadDeviceError;
  }
  m_refusal = statusOf(error);
  if (!m_plan.bursts) {
    m_listener.refused({.status = m_refusal,
                        .message = "the sound server does not play on '" + m_plan.sink +
                                   "': " + pa_strerror(error)});
  }
  return m_refusal;
}

void PulseStream::onState(pa_stream* stream, void* self) {
  auto& one = *static_cast<PulseStream*>(self);
  const pa_stream_state_t state = pa_stream_get_state(stream);
  if (state == PA_STREAM_READY) {
    one.m_isReady = true;
    onSuspended(stream, self);
    one.m_listener.begun();
  } else if (state == PA_STREAM_FAILED) {
    one.ended();
  }
  one.m_connection->signal();
}

void PulseStream::onSuspended(pa_stream* stream, void* self) {
  static_cast<PulseStream*>(self)->m_figures.suspended.store(pa_stream_is_suspended(stream) == 1);
}

/// Takes a snapshot, which shows why the server ended the stream or does not know the sink. Without
/// a server there is none.
void PulseStream::ended() {
  pa_context* const context = m_connection->context();
  const int error = pa_context_errno(context);
  if (!PA_CONTEXT_IS_GOOD(pa_context_get_state(context)) ||
      (!m_isReady && error != PA_ERR_NOENTITY)) {
    refused(error);
  } else {
    m_refusal = kAudioHardwareBadDeviceError;
    m_figures.endedAt.store(m_connection->requestSnapshot());
  }
}

void PulseStream::onRoom(pa_stream* /*stream*/, std::size_t /*byteCount*/, void* self) {
  auto& one = *static_cast<PulseStream*>(self);
  if (!std::exchange(one.m_hasStarted, true)) {
    one.fillAtFirst();
  } else if (!one.m_rests) {
    one.fill(kCyclesAtATime);
  }
}

/// Sound is available when the device starts, and should be played soon. Bursts come later.
void PulseStream::fillAtFirst() {
  fill(cyclesOf(m_plan, m_plan.bursts ? kFirstBurstsMs : kBufferMs));
  if (!m_plan.bursts && !m_nobodyPlays) {
    m_rests = true;
    fillLater(kRestCycles);
  }
}

/// The server requests what it lacks only once: the rest is written without a further request.
void PulseStream::onLater(pa_mainloop_api* api, pa_time_event* event, const timeval* /*time*/,
                          void* self) {
  auto& one = *static_cast<PulseStream*>(self);
  api->time_free(event);
  one.m_later = nullptr;
  one.m_rests = false;
  one.fill(kCyclesAtATime);
}

void PulseStream::onUnderrun(pa_stream* /*stream*/, void* self) {
  static_cast<PulseStream*>(self)->m_figures.underruns.fetch_add(1, std::memory_order_relaxed);
}

void PulseStream::fill(std::uint32_t mostCycles) {
  for (std::uint32_t i = 0; (i < mostCycles || isRunningDry()) && !m_nobodyPlays && hasRoom();
       ++i) {
    m_nobodyPlays = m_source.cycle(CycleSource::kUsualFrames, Tavro::HostTime::now()) == 0;
  }
  if (m_nobodyPlays) {
    return;  // the next client gets another stream
  }
  readTiming();
  askForTiming();
  if (hasRoom()) {
    fillLater(1);
  } else {
    m_wasFull = true;
  }
}

bool PulseStream::hasRoom() const {
  const std::size_t room = pa_stream_writable_size(m_stream);
  return room != static_cast<std::size_t>(-1) && room >= m_plan.cycleFrames * m_frameBytes;
}

/// Returns true if it was full before and is now less than half full.
bool PulseStream::isRunningDry() const {
  const pa_buffer_attr* const attributes =
      m_wasFull ? pa_stream_get_buffer_attr(m_stream) : nullptr;
  return attributes != nullptr && pa_stream_writable_size(m_stream) > attributes->tlength / 2;
}

void PulseStream::fillLater(std::uint32_t cycles) {
  if (m_later == nullptr) {
    const pa_usec_t waitUs =
        std::uint64_t{cycles} * m_plan.cycleFrames * 1'000'000 / m_plan.spec.rate;
    m_later =
        pa_context_rttime_new(m_connection->context(), pa_rtclock_now() + waitUs, onLater, this);
  }
}

void PulseStream::write(const void* bytes, std::size_t byteCount) {
  const auto* from = static_cast<const std::byte*>(bytes);
  while (byteCount != 0) {
    void* room = nullptr;
    std::size_t roomBytes = byteCount;
    if (pa_stream_begin_write(m_stream, &room, &roomBytes) < 0 || room == nullptr) {
      return;  // the stream has ended
    }
    roomBytes = std::min(roomBytes, byteCount);
    std::memcpy(room, from, roomBytes);
    if (pa_stream_write(m_stream, room, roomBytes, nullptr, 0, PA_SEEK_RELATIVE) < 0) {
      return;
    }
    from += roomBytes;
    byteCount -= roomBytes;
  }
}

void PulseStream::askForTiming() {
  if (m_timing == nullptr) {
    m_timing = pa_stream_update_timing_info(m_stream, onTiming, this);
  }
}

void PulseStream::onTiming(pa_stream* /*stream*/, int /*success*/, void* self) {
  auto& one = *static_cast<PulseStream*>(self);
  if (one.m_timing != nullptr) {
    pa_operation_unref(std::exchange(one.m_timing, nullptr));
  }
  one.readTiming();
  one.measureDrift();
}

/// Uses the last reply without extrapolation: only what the server reports as played counts.
void PulseStream::readTiming() {
  const pa_timing_info* const timing = pa_stream_get_timing_info(m_stream);
  if (timing == nullptr || timing->write_index_corrupt != 0 || timing->read_index_corrupt != 0) {
    return;
  }
  const std::int64_t queued = std::max<std::int64_t>(timing->write_index - timing->read_index, 0);
  const pa_usec_t sinkUs =
      timing->sink_usec != 0 ? timing->sink_usec : timing->configured_sink_usec;
  const std::uint64_t beyond = (sinkUs + timing->transport_usec) * m_plan.spec.rate / 1'000'000;
  m_figures.latencyFrames.store(
      static_cast<std::uint32_t>(static_cast<std::uint64_t>(queued) / m_frameBytes + beyond));
}

/// Runs when the reply comes. The server was paused if it had nothing to play.
void PulseStream::measureDrift() {
  const pa_timing_info* const timing = pa_stream_get_timing_info(m_stream);
  if (timing == nullptr || timing->playing == 0 || timing->read_index_corrupt != 0 ||
      timing->transport_usec > kMostTransportUs) {
    m_figures.drift.interrupt();
    return;
  }
  const double beyond = static_cast<double>(timing->sink_usec) * m_plan.spec.rate / 1e6;
  const auto heard =
      timing->read_index / static_cast<std::int64_t>(m_frameBytes) - std::llround(beyond);
  m_figures.drift.addSample(Tavro::HostTime::now() - timing->transport_usec * 1000, heard,
                            m_plan.spec.rate);
}

void bringBackRate(PulseConnection& connection, const std::string& sink,
                   const pa_sample_spec& former, const pa_channel_map& map) {
  const PulseConnection::Hold hold(connection);
  pa_stream* const stream = connection.newStream("Sound", former, map);
  if (stream == nullptr) {
    return;
  }
  pa_stream_connect_playback(stream, sink.c_str(), nullptr, PA_STREAM_DONT_MOVE, nullptr, nullptr);
  connection.end(stream);
}

}  // namespace Platform
