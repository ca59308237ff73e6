// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include "host/GraphSession.h"

namespace Tavro {

enum class EventKind : std::uint32_t {
  BufferQueued,    // handed to a component
  PiecePlayed,     // some of its bytes go to the device
  BufferPlayed,    // to its end
  BufferDropped,   // as entirely late
  BufferCleared,   // returned without having been played to its end
  SilentCallback,  // bytes holds the frames of silence
  StateChange      // bytes holds a code that the program defines
};

struct EventRecord {
  EventKind kind = EventKind::StateChange;
  std::uint32_t timeStampMs = 0;  // of the buffer
  std::uint32_t bytes = 0;        // of the buffer
  std::uint32_t graphMs = 0;      // when it happened
  std::uint64_t hostNs = 0;
};

/// Log of a session's events, recorded on any thread and written on one of its own.
///
/// record() puts a fixed-size record into storage made by open(); a thread that does not
/// participate in simulated time passes the records, in order, to the writer. When the storage is
/// full, record() waits for the writer in simulated time; in real time the record is lost and
/// counted.
class EventLog {
 public:
  using Writer = std::function<void(const EventRecord&)>;

  explicit EventLog(SessionClock& clock) : m_clock(clock) {}
  ~EventLog() { close(); }
  EventLog(const EventLog&) = delete;
  EventLog& operator=(const EventLog&) = delete;

  /// Before it, records are ignored. Call it once; `records` must be a power of two. [host-thread]
  void open(std::uint32_t records, Writer writer);

  /// Returns when everything recorded so far has been written. No record() may be under way.
  /// [host-thread]
  void close();

  /// [any-thread], real-time safe in real time
  void record(EventKind kind, std::uint32_t timeStampMs = 0, std::uint32_t bytes = 0);

  std::uint64_t lost() const { return m_lost.load(std::memory_order_relaxed); }

 private:
  // `turn` names the cell's owner: the producer whose ticket equals it, or the writer if it is the
  // ticket + 1. It publishes the record (release, acquire).
  struct Cell {
    std::atomic<std::uint64_t> turn{0};
    EventRecord record;
  };

  bool push(const EventRecord& record);
  bool pop(EventRecord& record);
  void drain();

  SessionClock& m_clock;
  std::vector<Cell> m_cells;
  Writer m_writer;
  std::atomic<bool> m_open{false};
  std::atomic<bool> m_closing{false};
  std::atomic<std::uint64_t> m_nextPush{0};
  std::uint64_t m_nextPop = 0;             // writer's thread only
  std::atomic<std::uint64_t> m_rounds{0};  // of the writer; producers wait on it
  std::atomic<std::uint64_t> m_lost{0};
  std::thread m_thread;
};

}  // namespace Tavro
