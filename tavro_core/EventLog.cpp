// SPDX-License-Identifier: MIT

#include "tavro_core/EventLog.h"

#include <chrono>
#include <utility>

#include "locks/NonBlocking.h"
#include "time/HostTime.h"

namespace Tavro {

namespace {
constexpr std::chrono::milliseconds kWriterPause{2};
}

void EventLog::open(std::uint32_t records, Writer writer) {
  m_cells = std::vector<Cell>(records);
  for (std::uint32_t i = 0; i < records; ++i) {
    m_cells[i].turn.store(i, std::memory_order_relaxed);
  }
  m_writer = std::move(writer);
  m_thread = std::thread([this] { drain(); });
  m_open.store(true, std::memory_order_release);
}

void EventLog::close() {
  if (!m_open.exchange(false)) {
    return;
  }
  m_closing.store(true);
  m_thread.join();
}

void EventLog::record(EventKind kind, std::uint32_t timeStampMs, std::uint32_t bytes) {
  if (!m_open.load(std::memory_order_acquire)) {
    return;
  }
  const EventRecord record{kind, timeStampMs, bytes, m_clock.currentTime(), HostTime::now()};
  while (!push(record)) {
    if (!HostTime::isSimulated()) {
      m_lost.fetch_add(1, std::memory_order_relaxed);
      return;
    }
    const std::uint64_t round = m_rounds.load();
    if (push(record)) {
      return;
    }
    TAVRO_MAY_BLOCK;  // simulated time has no deadlines
    m_rounds.wait(round);
  }
}

bool EventLog::push(const EventRecord& record) {
  std::uint64_t ticket = m_nextPush.load(std::memory_order_relaxed);
  for (;;) {
    Cell& cell = m_cells[ticket & (m_cells.size() - 1)];
    const std::uint64_t turn = cell.turn.load(std::memory_order_acquire);
    if (turn < ticket) {
      return false;  // still the writer's, from the previous round
    }
    if (turn > ticket) {
      ticket = m_nextPush.load(std::memory_order_relaxed);
    } else if (m_nextPush.compare_exchange_weak(ticket, ticket + 1, std::memory_order_relaxed)) {
      cell.record = record;
      cell.turn.store(ticket + 1, std::memory_order_release);
      return true;
    }
  }
}

bool EventLog::pop(EventRecord& record) {
  Cell& cell = m_cells[m_nextPop & (m_cells.size() - 1)];
  if (cell.turn.load(std::memory_order_acquire) != m_nextPop + 1) {
    return false;
  }
  record = cell.record;
  cell.turn.store(m_nextPop + m_cells.size(), std::memory_order_release);
  ++m_nextPop;
  return true;
}

void EventLog::drain() {
  HostTime::useAnyProcessor();
  for (;;) {
    const bool last = m_closing.load();
    EventRecord record;
    while (pop(record)) {
      m_writer(record);
    }
    m_rounds.fetch_add(1);
    m_rounds.notify_all();
    if (last) {
      return;
    }
    std::this_thread::sleep_for(kWriterPause);
  }
}

}  // namespace Tavro
