// SPDX-License-Identifier: MIT

#include "player/report/EventFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <system_error>
#include <unistd.h>

#include "player/base/ExitStatus.h"

namespace Player {

namespace {

using Tavro::EventKind;
using Tavro::EventRecord;

constexpr std::uint32_t kRecords = 1u << 16;

const char* nameOf(EventKind kind) {
  switch (kind) {
    case EventKind::BufferQueued:
      return "queued";
    case EventKind::PiecePlayed:
      return "piece";
    case EventKind::BufferPlayed:
      return "played";
    case EventKind::BufferDropped:
      return "dropped";
    case EventKind::BufferCleared:
      return "cleared";
    case EventKind::SilentCallback:
      return "silent";
    case EventKind::StateChange:
      return "state";
  }
  return "";
}

std::string detailsOf(const EventRecord& record) {
  switch (record.kind) {
    case EventKind::SilentCallback:
      return fmt::format(R"("frames":{})", record.bytes);
    case EventKind::StateChange:
      return fmt::format(R"("state":"{}")", nameOf(static_cast<PlayerState>(record.bytes)));
    default:
      return fmt::format(R"("stamp_ms":{},"bytes":{})", record.timeStampMs, record.bytes);
  }
}

}  // namespace

const char* nameOf(PlayerState state) {
  switch (state) {
    case PlayerState::Filling:
      return "filling";
    case PlayerState::Playing:
      return "playing";
    case PlayerState::Paused:
      return "paused";
    case PlayerState::Seeking:
      return "seeking";
    case PlayerState::Stopped:
      return "stopped";
    case PlayerState::Finished:
      return "finished";
    case PlayerState::Interrupted:
      return "interrupted";
    case PlayerState::Failed:
      return "failed";
  }
  return "";
}

EventFile::EventFile(Tavro::EventLog& events, const std::string& path) : m_events(events) {
  if (path.empty()) {
    return;
  }
  m_file.reset(path == "-" ? fdopen(dup(STDOUT_FILENO), "w") : std::fopen(path.c_str(), "w"));
  if (!m_file) {
    throw PlayerError(ExitStatus::Usage, "cannot write the events to " + path + ": " +
                                             std::generic_category().message(errno));
  }
  m_events.open(kRecords, [this](const EventRecord& record) { write(record); });
}

void EventFile::record(PlayerState state) {
  m_events.record(EventKind::StateChange, 0, static_cast<std::uint32_t>(state));
}

bool EventFile::close() {
  m_events.close();
  if (!m_file) {
    return true;
  }
  const bool failedBefore = std::ferror(m_file.get()) != 0;
  return std::fclose(m_file.release()) == 0 && !failedBefore;
}

void EventFile::write(const EventRecord& record) {
  const std::string line =
      fmt::format(R"({{"event":"{}","graph_ms":{},"host_ns":{},{}}})"
                  "\n",
                  nameOf(record.kind), record.graphMs, record.hostNs, detailsOf(record));
  std::fputs(line.c_str(), m_file.get());
}

}  // namespace Player
