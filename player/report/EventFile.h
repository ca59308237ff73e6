// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "tavro_core/EventLog.h"

namespace Player {

/// State of the player, for state events and the status line.
enum class PlayerState : std::uint32_t {
  Filling,
  Playing,
  Paused,
  Seeking,
  Stopped,
  Finished,
  Interrupted,
  Failed
};

const char* nameOf(PlayerState state);

/// Writes the events of a session to a file of JSON lines; "-" is standard output. Does nothing
/// without a path.
class EventFile {
 public:
  /// Throws PlayerError (usage) if the file cannot be created.
  EventFile(Tavro::EventLog& events, const std::string& path);
  ~EventFile() { close(); }
  EventFile(const EventFile&) = delete;
  EventFile& operator=(const EventFile&) = delete;

  void record(PlayerState state);  // [host-thread]

  /// Returns false if not everything could be written. Nothing may be recorded afterwards.
  /// [host-thread]
  bool close();

 private:
  void write(const Tavro::EventRecord& record);

  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  Tavro::EventLog& m_events;
  std::unique_ptr<std::FILE, Close> m_file;  // used by the event log's writer until it is closed
};

}  // namespace Player
