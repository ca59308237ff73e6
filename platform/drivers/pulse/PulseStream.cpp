// SPDX-License-Identifier: MIT

#include "platform/drivers/pulse/PulseStream.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Platform {
namespace {

constexpr auto kFlags =
    static_cast<pa_stream_flags_t>(PA_STREAM_DONT_MOVE | PA_STREAM_ADJUST_LATENCY);

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

PulseStream::PulseStream(std::shared_ptr<PulseConnection> connection, const StreamConfig& plan,
                         CycleSource& source, StreamStats& figures, StreamListener& listener)
    : m_connection(std::move(connection)),
      m_plan(plan),
      m_figures(figures),
      m_listener(listener),
      m_timing(m_plan, figures),
      m_filler(*m_connection, m_plan, source, m_timing) {
  m_figures.latencyFrames.store(m_plan.bufferFrames());
  m_figures.drift.interrupt();
  m_figures.endedAt.store(0);
  m_figures.suspended.store(false);
}

void PulseStream::close() {
  const Tavro::Lock hold(m_connection->loop());
  m_filler.cancel();
  m_timing.cancel();
  if (m_stream != nullptr) {
    pa_stream_set_state_callback(m_stream, nullptr, nullptr);
    pa_stream_set_suspended_callback(m_stream, nullptr, nullptr);
    pa_stream_set_write_callback(m_stream, nullptr, nullptr);
    pa_stream_set_underflow_callback(m_stream, nullptr, nullptr);
    m_connection->end(std::exchange(m_stream, nullptr));
  }
}

OSStatus PulseStream::open() {
  const Tavro::Lock hold(m_connection->loop());
  return connect() ? OSStatus{noErr} : refused(pa_context_errno(m_connection->context()));
}

/// The server refuses bursts beside any other stream, including those that are ending.
OSStatus PulseStream::openAndWait() {
  const Tavro::Lock hold(m_connection->loop());
  m_connection->waitUntil(
      [this]() TAVRO_REQUIRES(m_connection->loop()) { return m_connection->areAllEnded(); });
  if (!connect()) {
    return refused(pa_context_errno(m_connection->context()));
  }
  const bool answered = m_connection->waitUntil([this]() TAVRO_REQUIRES(m_connection->loop()) {
    return pa_stream_get_state(m_stream) != PA_STREAM_CREATING;
  });
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
  const auto bytes = static_cast<std::uint32_t>(m_plan.bufferFrames() * m_plan.frameBytes());
  const auto cycleBytes = static_cast<std::uint32_t>(m_plan.cycleBytes());
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
  one.m_connection->loop().assertHeld();
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

void PulseStream::onRoom(pa_stream* stream, std::size_t /*byteCount*/, void* self) {
  auto& one = *static_cast<PulseStream*>(self);
  one.m_connection->loop().assertHeld();
  one.m_filler.fillRoomOf(stream);
}

void PulseStream::onUnderrun(pa_stream* /*stream*/, void* self) {
  static_cast<PulseStream*>(self)->m_figures.underruns.fetch_add(1, std::memory_order_relaxed);
}

void PulseStream::write(const void* bytes, std::size_t byteCount) {
  m_connection->loop().assertHeld();  // libpulse's thread runs the cycles
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

void bringBackRate(PulseConnection& connection, const std::string& sink,
                   const pa_sample_spec& former, const pa_channel_map& map) {
  const Tavro::Lock hold(connection.loop());
  pa_stream* const stream = connection.newStream("Sound", former, map);
  if (stream == nullptr) {
    return;
  }
  pa_stream_connect_playback(stream, sink.c_str(), nullptr, PA_STREAM_DONT_MOVE, nullptr, nullptr);
  connection.end(stream);
}

}  // namespace Platform
