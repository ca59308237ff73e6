// SPDX-License-Identifier: MIT

#include "platform/drivers/pulse/SnapshotReader.h"

#include <algorithm>
#include <utility>

#include "platform/drivers/pulse/PulseOperation.h"
#include "platform/drivers/pulse/PulseSink.h"

namespace Platform {
namespace {

constexpr int kMostInconsistent = 3;

}  // namespace

SnapshotReader::SnapshotReader(std::function<void(ServerState)> onSnapshot)
    : m_onSnapshot(std::move(onSnapshot)) {}

std::uint64_t SnapshotReader::request(pa_context* context) {
  if (m_isReading) {
    m_readsAgain = true;
    return m_started + 1;
  }
  start(context);
  return m_started;
}

/// The server replies in this order, sink by sink.
void SnapshotReader::start(pa_context* context) {
  m_isReading = true;
  m_readsAgain = false;
  m_coming = {.generation = ++m_started, .connected = true};
  letRun(pa_context_get_server_info(context, onServer, this));
  letRun(pa_context_get_sink_info_list(context, onSink, this));
}

void SnapshotReader::onServer(pa_context* /*context*/, const pa_server_info* info, void* self) {
  if (info != nullptr && info->default_sink_name != nullptr) {
    static_cast<SnapshotReader*>(self)->m_coming.defaultSink = info->default_sink_name;
  }
}

void SnapshotReader::onSink(pa_context* context, const pa_sink_info* info, int end, void* self) {
  auto& one = *static_cast<SnapshotReader*>(self);
  if (end == 0) {
    one.m_coming.sinks.push_back(sinkOf(*info));
    return;
  }
  one.m_isReading = false;
  const bool cameTooLate = end < 0 && pa_context_errno(context) == PA_ERR_TIMEOUT;
  if (cameTooLate || one.m_readsAgain ||
      (!one.isConsistent() && one.m_inconsistent++ < kMostInconsistent)) {
    one.start(context);
  } else if (end > 0) {
    one.m_inconsistent = 0;
    one.m_onSnapshot(std::move(one.m_coming));
  }
}

/// Returns false if the default sink was removed between the two replies.
bool SnapshotReader::isConsistent() const {
  return m_coming.defaultSink.empty() || std::ranges::find(m_coming.sinks, m_coming.defaultSink,
                                                           &Sink::name) != m_coming.sinks.end();
}

}  // namespace Platform
