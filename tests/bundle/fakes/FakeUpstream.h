// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <host/TavroCore.h>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

#include "AllocationWatch.h"
#include "FakeBuffer.h"
#include "Journal.h"

/// The upstream port: answers the next-buffer query from a script, "no buffer" once it is at its
/// end. Owns every buffer for the whole test.
class FakeUpstream : public Tavro::PortInterface {
 public:
  /// Makes a buffer and lets it be the answer of a query.
  FakeBuffer& add(Bytes bytes, std::uint32_t timeStampMs, std::uint32_t durationMs) {
    std::lock_guard lock(m_lock);
    m_buffers.push_back(std::make_unique<FakeBuffer>(std::move(bytes), timeStampMs, durationMs));
    m_answers.push_back(m_buffers.back().get());
    return *m_buffers.back();
  }

  /// Forgets every buffer; none may be held any more.
  void forget() {
    std::lock_guard lock(m_lock);
    m_answers.clear();
    m_buffers.clear();
  }

  bool readQuery(unsigned id, Tavro::_Variant* value) override {
    ++m_queries;
    if (onQuery) {
      onQuery();
    }
    if (id != Tavro::PortQuery::kNextBuffer || value->value != 0) {
      return unexpected();
    }
    AllocationWatch::Pause pause;
    std::lock_guard lock(m_lock);
    if (m_answers.empty()) {
      return false;
    }
    FakeBuffer* buffer = m_answers.front();
    m_answers.pop_front();
    value->value = reinterpret_cast<std::uintptr_t>(static_cast<Tavro::MediaBuffer*>(buffer));
    buffer->deliver();
    return true;
  }

  bool checkEvent(unsigned, Tavro::_Variant*) override { return unexpected(); }
  bool sendEvent(unsigned, Tavro::_Variant*) override { return unexpected(); }
  bool writeQuery(unsigned, Tavro::_Variant*) override { return unexpected(); }

  unsigned queries() const { return m_queries; }

  /// Buffers handed over.
  unsigned delivered() {
    const std::vector<FakeBuffer*> all = buffers();
    return static_cast<unsigned>(std::count_if(
        all.begin(), all.end(), [](const FakeBuffer* buffer) { return buffer->delivered(); }));
  }

  /// Answers not asked for yet.
  std::size_t waiting() {
    std::lock_guard lock(m_lock);
    return m_answers.size();
  }

  /// All ever made.
  std::vector<FakeBuffer*> buffers() {
    std::lock_guard lock(m_lock);
    std::vector<FakeBuffer*> all;
    for (const auto& buffer : m_buffers) {
      all.push_back(buffer.get());
    }
    return all;
  }

  std::function<void()> onQuery;  // in the middle of every query

 private:
  static bool unexpected() {
    Journal::instance().violation("upstream got something else than a next-buffer query");
    return false;
  }

  std::mutex m_lock;
  std::deque<FakeBuffer*> m_answers;
  std::deque<std::unique_ptr<FakeBuffer>> m_buffers;
  std::atomic<unsigned> m_queries{0};
};
