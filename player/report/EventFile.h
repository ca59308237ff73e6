#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

#include "tavro_core/EventLog.h"

namespace Player {

/// What the player is at, for state events and the status line.
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

/// The events of a session as a file of JSON lines; "-" is standard output. Nothing happens without
/// a path.
class EventFile {
 public:
  /// Throws PlayerError (usage) when the file cannot be made.
  EventFile(Tavro::EventLog& events, const std::string& path);
  ~EventFile() { close(); }
  EventFile(const EventFile&) = delete;
  EventFile& operator=(const EventFile&) = delete;

  void record(PlayerState state);  // [host-thread]

  /// False: not everything could be written. Nothing may be recorded any more. [host-thread]
  bool close();

 private:
  void write(const Tavro::EventRecord& record);

  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };
  Tavro::EventLog& m_events;
  std::unique_ptr<std::FILE, Close> m_file;  // the event log's writer's, until it is closed
};

}  // namespace Player
