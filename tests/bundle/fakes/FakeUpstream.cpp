#include "FakeUpstream.h"

#include "AllocationWatch.h"
#include "Journal.h"

using Tavro::_Variant;

FakeBuffer& FakeUpstream::add(std::vector<std::uint8_t> bytes, std::uint32_t timeStampMs,
                              std::uint32_t durationMs) {
  std::lock_guard lock(m_lock);
  m_buffers.push_back(std::make_unique<FakeBuffer>(std::move(bytes), timeStampMs, durationMs));
  m_answers.push_back({true, m_buffers.back().get()});
  return *m_buffers.back();
}

void FakeUpstream::addNothing(bool result) {
  std::lock_guard lock(m_lock);
  m_answers.push_back({result, nullptr});
}

void FakeUpstream::forget() {
  std::lock_guard lock(m_lock);
  m_answers.clear();
  m_buffers.clear();
}

std::size_t FakeUpstream::waiting() {
  std::lock_guard lock(m_lock);
  return m_answers.size();
}

std::vector<FakeBuffer*> FakeUpstream::buffers() {
  std::lock_guard lock(m_lock);
  std::vector<FakeBuffer*> all;
  for (const auto& buffer : m_buffers) {
    all.push_back(buffer.get());
  }
  return all;
}

bool FakeUpstream::readQuery(unsigned id, _Variant* value) {
  ++m_queries;
  if (onQuery) {
    onQuery();
  }
  if (id != Tavro::PortQuery::kNextBuffer || value == nullptr || value->value != 0) {
    Journal::instance().violation("upstream asked something else than an empty next-buffer query");
    return false;
  }
  AllocationWatch::Pause pause;
  std::lock_guard lock(m_lock);
  if (m_answers.empty()) {
    return false;
  }
  const Answer answer = m_answers.front();
  m_answers.pop_front();
  value->value = reinterpret_cast<std::uintptr_t>(static_cast<Tavro::MediaBuffer*>(answer.buffer));
  if (answer.buffer != nullptr) {
    answer.buffer->deliver();
  }
  return answer.result;
}

bool FakeUpstream::checkEvent(unsigned, _Variant*) {
  Journal::instance().violation("upstream got a check");
  return false;
}

bool FakeUpstream::sendEvent(unsigned, _Variant*) {
  Journal::instance().violation("upstream got an event");
  return false;
}

bool FakeUpstream::writeQuery(unsigned, _Variant*) {
  Journal::instance().violation("upstream got a write");
  return false;
}
