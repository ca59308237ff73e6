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
  BufferDropped,   // as wholly late
  BufferCleared,   // given back without having been played to its end
  SilentCallback,  // bytes: the frames of silence
  StateChange      // bytes: a code of the program's own
};

struct EventRecord {
  EventKind kind = EventKind::StateChange;
  std::uint32_t timeStampMs = 0;  // of the buffer
  std::uint32_t bytes = 0;        // of the buffer
  std::uint32_t graphMs = 0;      // when it happened
  std::uint64_t hostNs = 0;
};

/// Records of what happens in a session, taken on any thread and written on one of its own.
///
/// record() puts a fixed-size record into storage made by open(); a thread that takes no part in
/// simulated time passes the records on, in their order, to the writer. When the storage is full,
/// simulated time waits for the writer; in real time the record is lost and counted.
class EventLog {
 public:
  using Writer = std::function<void(const EventRecord&)>;

  explicit EventLog(SessionClock& clock) : m_clock(clock) {}
  ~EventLog() { close(); }
  EventLog(const EventLog&) = delete;
  EventLog& operator=(const EventLog&) = delete;

  /// Until then records are ignored. Once; `records` is a power of two. [host-thread]
  void open(std::uint32_t records, Writer writer);

  /// Everything recorded so far has been written when it returns. No record() may be under way.
  /// [host-thread]
  void close();

  /// [any-thread], real-time safe in real time
  void record(EventKind kind, std::uint32_t timeStampMs = 0, std::uint32_t bytes = 0);

  std::uint64_t lost() const { return m_lost.load(std::memory_order_relaxed); }

 private:
  // `turn` says whose the cell is: that of the producer whose ticket equals it, or that of the
  // writer when it is the ticket + 1. It carries the record over (release, acquire).
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
  std::atomic<std::uint64_t> m_rounds{0};  // of the writer; what a waiting producer waits on
  std::atomic<std::uint64_t> m_lost{0};
  std::thread m_thread;
};

}  // namespace Tavro
