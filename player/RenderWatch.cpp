#include "player/RenderWatch.h"

namespace Player {

RenderWatch::RenderWatch(Tavro::EventLog& events) : m_events(events) {
  AudioDevices::setRenderObserver(onRender, this);
}

RenderWatch::~RenderWatch() { AudioDevices::setRenderObserver(nullptr, nullptr); }

void RenderWatch::beginStream() {
  m_heard.store(false);
  m_sinceHeard.store(0);
}

void RenderWatch::onRender(void* watch, const AudioDevices::RenderRecord& record) {
  static_cast<RenderWatch*>(watch)->count(record);
}

void RenderWatch::count(const AudioDevices::RenderRecord& record) {
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
  }
}

}  // namespace Player
