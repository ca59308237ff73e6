#pragma once

#include <atomic>
#include <deque>
#include <functional>
#include <host/TavroCore.h>
#include <memory>
#include <mutex>
#include <vector>

#include "FakeBuffer.h"

/// The upstream port: answers the next-buffer query from a script, "no buffer" once it is at its
/// end. Owns every buffer for the whole test.
class FakeUpstream : public Tavro::PortInterface {
 public:
  /// Makes a buffer and lets it be the answer of a query.
  FakeBuffer& add(std::vector<std::uint8_t> bytes, std::uint32_t timeStampMs,
                  std::uint32_t durationMs);

  /// An answer of its own kind: the query's result, and no buffer.
  void addNothing(bool result);

  void forget();  // every buffer; nobody may hold one any more

  bool checkEvent(unsigned id, Tavro::_Variant* value) override;
  bool sendEvent(unsigned id, Tavro::_Variant* value) override;
  bool readQuery(unsigned id, Tavro::_Variant* value) override;
  bool writeQuery(unsigned id, Tavro::_Variant* value) override;

  unsigned queries() const { return m_queries; }
  std::size_t waiting();               // answers not asked for yet
  std::vector<FakeBuffer*> buffers();  // all ever made
  std::function<void()> onQuery;       // in the middle of every query

 private:
  struct Answer {
    bool result;
    FakeBuffer* buffer;
  };

  std::mutex m_lock;
  std::deque<Answer> m_answers;
  std::deque<std::unique_ptr<FakeBuffer>> m_buffers;
  std::atomic<unsigned> m_queries{0};
};
