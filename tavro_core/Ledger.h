// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstdint>

#include "time/HostTime.h"

namespace Tavro {

class EventLog;
class PooledBuffer;

/// What happened to the buffers of a session.
struct LedgerTotals {
  std::uint64_t pulled = 0;            // handed to a component
  std::uint64_t pieces = 0;            // reports of bytes that go to the device
  std::uint64_t played = 0;            // reported as played to the end
  std::uint64_t droppedLate = 0;       // reported as entirely late
  std::uint64_t withoutReport = 0;     // read, never reported, returned: passthrough
  std::uint64_t cleared = 0;           // returned otherwise
  std::uint64_t held = 0;              // not returned
  std::uint64_t releasedTooOften = 0;  // a fault of the component's

  /// Each number is counted separately, so this detects a buffer that was lost, played twice or
  /// reported and kept. While a component plays it may be off by the buffers under way.
  bool balanced() const {
    return pulled == played + droppedLate + withoutReport + cleared + held && releasedTooOften == 0;
  }
};

/// Tracks every buffer from the pull to its return. Each operation counts one thing and records its
/// event. [any-thread], real-time safe, unless stated otherwise
class Ledger {
 public:
  explicit Ledger(EventLog& events) : m_events(events) {}

  void pulled(PooledBuffer& buffer);
  void reported(PooledBuffer& buffer, std::uint32_t state);
  void returned(std::uint32_t marks, std::uint32_t timeStampMs, std::uint32_t bytes);
  void releasedTooOften() { m_releasedTooOften.fetch_add(1, std::memory_order_relaxed); }

  LedgerTotals totals() const;
  std::uint64_t pulledCount() const { return m_pulled.load(std::memory_order_acquire); }
  std::uint64_t withoutReportCount() const {
    return m_withoutReport.load(std::memory_order_acquire);
  }
  std::uint64_t returnedCount() const { return m_returned.load(std::memory_order_acquire); }

  /// Bytes of the buffers that a component has begun to play, and of those it has finished; equal
  /// if it is not in the middle of one.
  std::uint64_t begunBytes() const { return m_begunBytes.load(std::memory_order_relaxed); }
  std::uint64_t endedBytes() const { return m_endedBytes.load(std::memory_order_relaxed); }

  /// Notifies `signal` when `count` of all buffers ever pulled have been returned; at once if they
  /// have. The signal must outlive the ledger's use. [host-thread]
  void notifyWhenReturned(std::uint64_t count, HostTime::Signal& signal);

 private:
  void countEnd(std::uint32_t marks, std::uint32_t bytes);

  EventLog& m_events;
  std::atomic<std::uint64_t> m_pulled{0};
  std::atomic<std::uint64_t> m_pieces{0};
  std::atomic<std::uint64_t> m_played{0};
  std::atomic<std::uint64_t> m_droppedLate{0};
  std::atomic<std::uint64_t> m_withoutReport{0};
  std::atomic<std::uint64_t> m_cleared{0};
  std::atomic<std::uint64_t> m_held{0};
  std::atomic<std::uint64_t> m_releasedTooOften{0};
  std::atomic<std::uint64_t> m_begunBytes{0};
  std::atomic<std::uint64_t> m_endedBytes{0};

  // returned() adds to m_returned and then reads m_awaited; notifyWhenReturned() writes m_awaited
  // and then reads m_returned: sequentially consistent, so one of the two sees the other.
  std::atomic<std::uint64_t> m_returned{0};
  std::atomic<std::uint64_t> m_awaited{UINT64_MAX};
  std::atomic<HostTime::Signal*> m_signal{nullptr};
};

}  // namespace Tavro
