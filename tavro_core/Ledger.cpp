// SPDX-License-Identifier: MIT

#include "tavro_core/Ledger.h"

#include "host/Identifiers.h"
#include "tavro_core/BufferPool.h"
#include "tavro_core/EventLog.h"

namespace Tavro {

namespace {

void count(std::atomic<std::uint64_t>& counter) { counter.fetch_add(1, std::memory_order_relaxed); }

}  // namespace

void Ledger::pulled(PooledBuffer& buffer) {
  buffer.mark(PooledBuffer::kHandedOut);
  count(m_held);
  m_pulled.fetch_add(1, std::memory_order_release);
  m_events.record(EventKind::BufferQueued, buffer.timeStamp, buffer.bufferSize());
}

void Ledger::reported(PooledBuffer& buffer, std::uint32_t state) {
  buffer.mark(PooledBuffer::kReported);
  switch (state) {
    case BufferState::kPlaying:
      count(m_pieces);
      if ((buffer.marks() & PooledBuffer::kBegun) == 0) {
        buffer.mark(PooledBuffer::kBegun);
        m_begunBytes.fetch_add(buffer.bufferSize(), std::memory_order_relaxed);
      }
      m_events.record(EventKind::PiecePlayed, buffer.timeStamp, buffer.bufferSize());
      break;
    case BufferState::kPlayed:
      buffer.mark(PooledBuffer::kSettled);
      countEnd(buffer.marks(), buffer.bufferSize());
      count(m_played);
      m_events.record(EventKind::BufferPlayed, buffer.timeStamp, buffer.bufferSize());
      break;
    case BufferState::kDroppedLate:
      buffer.mark(PooledBuffer::kSettled);
      countEnd(buffer.marks(), buffer.bufferSize());
      count(m_droppedLate);
      m_events.record(EventKind::BufferDropped, buffer.timeStamp, buffer.bufferSize());
      break;
    default:
      break;
  }
}

void Ledger::countEnd(std::uint32_t marks, std::uint32_t bytes) {
  if ((marks & PooledBuffer::kBegun) != 0) {
    m_endedBytes.fetch_add(bytes, std::memory_order_relaxed);
  }
}

void Ledger::returned(std::uint32_t marks, std::uint32_t timeStampMs, std::uint32_t bytes) {
  if ((marks & PooledBuffer::kHandedOut) == 0) {
    return;
  }
  if ((marks & PooledBuffer::kSettled) == 0) {
    countEnd(marks, bytes);
    const bool readUnreported =
        (marks & (PooledBuffer::kRead | PooledBuffer::kReported)) == PooledBuffer::kRead;
    count(readUnreported ? m_withoutReport : m_cleared);
    m_events.record(readUnreported ? EventKind::BufferPlayed : EventKind::BufferCleared,
                    timeStampMs, bytes);
  }
  m_held.fetch_sub(1, std::memory_order_relaxed);
  if (m_returned.fetch_add(1) + 1 >= m_awaited.load()) {
    m_signal.load()->notify();
  }
}

LedgerTotals Ledger::totals() const {
  LedgerTotals totals;
  totals.pulled = m_pulled.load();
  totals.pieces = m_pieces.load();
  totals.played = m_played.load();
  totals.droppedLate = m_droppedLate.load();
  totals.withoutReport = m_withoutReport.load();
  totals.cleared = m_cleared.load();
  totals.held = m_held.load();
  totals.releasedTooOften = m_releasedTooOften.load();
  return totals;
}

void Ledger::notifyWhenReturned(std::uint64_t count, HostTime::Signal& signal) {
  m_signal.store(&signal);
  m_awaited.store(count);
  if (m_returned.load() >= count) {
    signal.notify();
  }
}

}  // namespace Tavro
