// SPDX-License-Identifier: MIT

#include "platform/drivers/pulse/PulseConnection.h"

#include <errno.h>
#include <utility>

#include "platform/drivers/pulse/PulseOperation.h"

namespace Platform {
namespace {

AudioDevices::Failure noServer(const char* reason) {
  return {.status = kAudioHardwareUnspecifiedError,
          .message = std::string("no sound server: ") + reason};
}

using Properties = std::unique_ptr<pa_proplist, decltype(&pa_proplist_free)>;

Properties propertiesOf(const AudioDevices::StreamName& name, const char* unnamed) {
  Properties properties(pa_proplist_new(), &pa_proplist_free);
  const auto set = [&](const char* key, const std::string& text) {
    char* const valid = pa_utf8_filter(text.c_str());
    pa_proplist_sets(properties.get(), key, valid);
    pa_xfree(valid);
  };
  set(PA_PROP_MEDIA_NAME, name.name.empty() ? unnamed : name.name);
  set(PA_PROP_MEDIA_TITLE, name.title);
  set(PA_PROP_MEDIA_FILENAME, name.file);
  return properties;
}

struct Deadline {
  PulseLoop& loop;
  bool passed = false;
};

void onDeadline(pa_mainloop_api* /*api*/, pa_time_event* /*event*/, const timeval* /*time*/,
                void* deadline) {
  auto& self = *static_cast<Deadline*>(deadline);
  self.loop.assertHeld();
  self.passed = true;
  self.loop.signal();
}

}  // namespace

PulseConnection::PulseConnection()
    : m_snapshots([this](ServerState state) TAVRO_REQUIRES(m_loop) {
        publish(std::move(state));
        signal();
      }) {
  if (m_loop.isMade()) {
    m_context = pa_context_new(api(), program_invocation_short_name);
  }
}

PulseConnection::~PulseConnection() {
  if (!m_loop.isMade()) {
    return;
  }
  if (m_context != nullptr) {
    const Tavro::Lock hold(m_loop);
    pa_context_set_state_callback(m_context, nullptr, nullptr);
    pa_context_set_subscribe_callback(m_context, nullptr, nullptr);
    pa_context_disconnect(m_context);
    pa_context_unref(m_context);
  }
  m_loop.stop();  // no callback comes afterwards
}

AudioDevices::Failure PulseConnection::open(SoundServerListener& listener) {
  if (m_context == nullptr) {
    return noServer("out of memory");
  }
  const Tavro::Lock hold(m_loop);  // connecting calls back already
  pa_context_set_state_callback(m_context, onContextState, this);
  pa_context_set_subscribe_callback(m_context, onEvent, this);
  if (pa_context_connect(m_context, nullptr, PA_CONTEXT_NOAUTOSPAWN, nullptr) < 0 ||
      !m_loop.start()) {
    return noServer(pa_strerror(pa_context_errno(m_context)));
  }
  const bool answered = waitUntil(
      [this] { return state().connected || !PA_CONTEXT_IS_GOOD(pa_context_get_state(m_context)); });
  if (!answered) {
    return noServer("it does not answer");
  }
  if (!state().connected) {
    return noServer(pa_strerror(pa_context_errno(m_context)));
  }
  m_listener = &listener;  // of changes after this snapshot; a failed attempt is not reported
  return {};
}

void PulseConnection::forgetListener() {
  if (m_loop.isMade()) {
    const Tavro::Lock hold(m_loop);
    m_listener = nullptr;
  }
}

ServerState PulseConnection::state() const {
  const Tavro::Lock lock(m_stateLock);
  return m_state;
}

bool PulseConnection::waitUntil(const std::function<bool()>& isDone) {
  Deadline deadline{.loop = m_loop};
  pa_time_event* const event =
      pa_context_rttime_new(m_context, pa_rtclock_now() + kServerTimeoutUs, onDeadline, &deadline);
  while (!isDone() && !deadline.passed) {
    m_loop.wait();
  }
  api()->time_free(event);
  return isDone();
}

void PulseConnection::onContextState(pa_context* context, void* connection) {
  auto& self = *static_cast<PulseConnection*>(connection);
  self.m_loop.assertHeld();
  const pa_context_state_t state = pa_context_get_state(context);
  if (state == PA_CONTEXT_READY) {
    self.subscribe();
  } else if (!PA_CONTEXT_IS_GOOD(state)) {
    self.publish({.generation = UINT64_MAX});
  }
  self.signal();
}

void PulseConnection::subscribe() {
  constexpr auto kEvents =
      static_cast<pa_subscription_mask_t>(PA_SUBSCRIPTION_MASK_SINK | PA_SUBSCRIPTION_MASK_SERVER);
  letRun(pa_context_subscribe(m_context, kEvents, nullptr, nullptr));
  requestSnapshot();
}

void PulseConnection::onEvent(pa_context* /*context*/, pa_subscription_event_type_t /*type*/,
                              std::uint32_t /*index*/, void* connection) {
  auto& self = *static_cast<PulseConnection*>(connection);
  self.m_loop.assertHeld();
  self.requestSnapshot();
}

/// A stream that the server has not confirmed yet keeps the name it was made with.
void PulseConnection::setStreamName(const AudioDevices::StreamName& name) {
  const Tavro::Lock hold(m_loop);
  m_streamName = name;
  const Properties properties = propertiesOf(name, "Sound");
  for (pa_stream* const stream : m_streams) {
    letRun(
        pa_stream_proplist_update(stream, PA_UPDATE_REPLACE, properties.get(), nullptr, nullptr));
  }
}

pa_stream* PulseConnection::newStream(const char* unnamed, const pa_sample_spec& spec,
                                      const pa_channel_map& map) {
  return keep(pa_stream_new_with_proplist(m_context, nullptr, &spec, &map,
                                          propertiesOf(m_streamName, unnamed).get()));
}

pa_stream* PulseConnection::newStream(const char* unnamed, pa_format_info* format) {
  return keep(pa_stream_new_extended(m_context, nullptr, &format, 1,
                                     propertiesOf(m_streamName, unnamed).get()));
}

pa_stream* PulseConnection::keep(pa_stream* stream) {
  if (stream != nullptr) {
    m_streams.push_back(stream);
  }
  return stream;
}

void PulseConnection::end(pa_stream* stream) {
  std::erase(m_streams, stream);
  ++m_ending;
  if (pa_stream_get_state(stream) == PA_STREAM_CREATING) {
    pa_stream_set_state_callback(stream, onAnswer, this);
  } else {
    onAnswer(stream, this);
  }
}

void PulseConnection::onAnswer(pa_stream* stream, void* connection) {
  if (pa_stream_get_state(stream) == PA_STREAM_CREATING) {
    return;
  }
  auto& self = *static_cast<PulseConnection*>(connection);
  self.m_loop.assertHeld();
  pa_stream_set_state_callback(stream, nullptr, nullptr);
  pa_stream_disconnect(stream);
  pa_stream_unref(stream);
  --self.m_ending;
  self.signal();
}

bool PulseConnection::isResponsive() {
  const Tavro::Lock hold(m_loop);
  const std::uint64_t wanted = requestSnapshot();
  return waitUntil([&] { return state().generation >= wanted; }) && state().connected;
}

void PulseConnection::publish(ServerState state) {
  {
    const Tavro::Lock lock(m_stateLock);
    m_state = std::move(state);
  }
  if (m_listener != nullptr) {
    m_listener->serverChanged();
  }
}

}  // namespace Platform
