// SPDX-License-Identifier: MIT

#include "player/engine/RenderStats.h"

#include <algorithm>

namespace Player {

RenderStats::RenderStats(Tavro::EventLog& events, const Tavro::Ledger& ledger)
    : m_events(events), m_ledger(ledger) {
  AudioDevices::setRenderObserver(onRender, this);
}

RenderStats::~RenderStats() { AudioDevices::setRenderObserver(nullptr, nullptr); }

void RenderStats::beginStream(const StreamFormat& format) {
  if (format.rate != m_rate) {
    m_padding.store(0);
  }
  m_rate = format.rate;
  m_frameBytes = format.bytesPerFrame();
  m_rest = 0;
  m_begunBytes = m_ledger.begunBytes();
  m_heard.store(false);
  m_sinceHeard.store(0);
}

void RenderStats::onRender(void* watch, const AudioDevices::RenderRecord& record) {
  static_cast<RenderStats*>(watch)->count(record);
}

void RenderStats::count(const AudioDevices::RenderRecord& record) {
  m_callbacks.fetch_add(1, std::memory_order_relaxed);
  if (record.silent) {
    m_silent.fetch_add(1, std::memory_order_relaxed);
    if (m_heard.load(std::memory_order_relaxed)) {
      m_sinceHeard.fetch_add(1, std::memory_order_relaxed);
    }
    m_events.record(Tavro::EventKind::SilentCallback, 0, record.frames);
  } else {
    m_heard.store(true, std::memory_order_relaxed);
    m_between.fetch_add(m_sinceHeard.exchange(0, std::memory_order_relaxed),
                        std::memory_order_relaxed);
    measurePadding(record.frames);
  }
}

/// The component pads a callback with zeros only if its last buffer ended in it. A late buffer,
/// which is entered in the middle, makes the result too small.
void RenderStats::measurePadding(std::uint32_t frames) {
  const std::uint64_t wanted = std::uint64_t{frames} * m_frameBytes;
  const std::uint64_t begun = m_ledger.begunBytes();
  const std::uint64_t given = m_rest + begun - m_begunBytes;
  const bool isInBuffer = m_ledger.endedBytes() != begun;
  m_begunBytes = begun;
  m_rest = isInBuffer ? given - std::min(given, wanted) : 0;
  const std::uint64_t missing = isInBuffer ? 0 : wanted - std::min(given, wanted);
  m_padding.store(static_cast<std::uint32_t>(missing / m_frameBytes), std::memory_order_relaxed);
}

}  // namespace Player
