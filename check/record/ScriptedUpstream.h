// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "check/record/Journal.h"
#include "check/record/RecordedBuffer.h"
#include "check/watch/Watch.h"
#include "host/TavroCore.h"

namespace Check {

/// The upstream port: hands out the buffers that were added, in order, then has none. Any other
/// query and any event is a misuse. It owns the buffers, also those that were handed out.
class ScriptedUpstream : public Tavro::PortInterface {
 public:
  RecordedBuffer& add(std::size_t bytes, std::uint32_t timeStampMs, std::uint32_t durationMs) {
    const std::lock_guard lock(m_lock);
    m_buffers.push_back(std::make_unique<RecordedBuffer>(pattern(bytes, m_buffers.size()),
                                                         timeStampMs, durationMs));
    m_waiting.push_back(m_buffers.back().get());
    return *m_buffers.back();
  }

  /// Adds `count` buffers of 10 ms of 48 kHz, 16 bit stereo, the first at `timeStampMs`.
  void addTens(unsigned count, std::uint32_t timeStampMs) {
    for (unsigned i = 0; i < count; ++i) {
      add(1920, timeStampMs + i * 10, 10);
    }
  }

  /// Deletes every buffer; a component must hold none.
  void forget() {
    const std::lock_guard lock(m_lock);
    m_waiting.clear();
    m_buffers.clear();
  }

  bool readQuery(unsigned id, Tavro::_Variant* value) override {
    ++m_queries;
    callHook(onQuery);
    if (id != Tavro::PortQuery::kNextBuffer || value->value != 0) {
      return unexpected();
    }
    const Watch::Pause pause;
    const std::lock_guard lock(m_lock);
    if (m_refusals > 0) {
      --m_refusals;
      return false;
    }
    if (m_waiting.empty()) {
      return false;
    }
    RecordedBuffer* buffer = m_waiting.front();
    m_waiting.pop_front();
    value->value = reinterpret_cast<std::uintptr_t>(static_cast<Tavro::MediaBuffer*>(buffer));
    buffer->deliver();
    return true;
  }

  bool checkEvent(unsigned, Tavro::_Variant*) override { return unexpected(); }
  bool sendEvent(unsigned, Tavro::_Variant*) override { return unexpected(); }
  bool writeQuery(unsigned, Tavro::_Variant*) override { return unexpected(); }

  /// Has no buffer for the next `count` queries.
  void refuse(unsigned count) {
    const std::lock_guard lock(m_lock);
    m_refusals = count;
  }

  unsigned queries() const { return m_queries; }

  /// Returns how many buffers were handed out.
  unsigned delivered() {
    const std::vector<RecordedBuffer*> all = buffers();
    return static_cast<unsigned>(
        std::ranges::count_if(all, [](const auto* buffer) { return buffer->isDelivered(); }));
  }

  /// Returns how many references were returned.
  unsigned released() {
    unsigned count = 0;
    for (const RecordedBuffer* buffer : buffers()) {
      count += buffer->releases();
    }
    return count;
  }

  /// Returns how many buffers have not been asked for.
  std::size_t waiting() {
    const std::lock_guard lock(m_lock);
    return m_waiting.size();
  }

  std::vector<RecordedBuffer*> buffers() {
    const std::lock_guard lock(m_lock);
    std::vector<RecordedBuffer*> all;
    all.reserve(m_buffers.size());
    for (const auto& buffer : m_buffers) {
      all.push_back(buffer.get());
    }
    return all;
  }

  std::function<void()> onQuery;  // at the beginning of every query

 private:
  static bool unexpected() {
    Journal::instance().misuse("the upstream port is sent something else than a next-buffer query");
    return false;
  }

  std::mutex m_lock;
  std::deque<RecordedBuffer*> m_waiting;
  std::deque<std::unique_ptr<RecordedBuffer>> m_buffers;
  unsigned m_refusals = 0;
  std::atomic<unsigned> m_queries{0};
};

}  // namespace Check
