#include "FakeBuffer.h"

#include <algorithm>
#include <string>

#include "Journal.h"

namespace {
constexpr std::uint8_t kPoison = 0xDD;

void run(const std::function<void()>& hook) {
  if (hook) {
    hook();
  }
}
}  // namespace

FakeBuffer::FakeBuffer(std::vector<std::uint8_t> bytes, std::uint32_t timeStampMs,
                       std::uint32_t durationMs)
    : MediaBuffer(static_cast<std::uint32_t>(bytes.size()), 1, timeStampMs, durationMs),
      m_content(std::move(bytes)),
      m_bytes(new std::uint8_t[m_content.size()]) {
  std::copy(m_content.begin(), m_content.end(), m_bytes.get());
}

void FakeBuffer::usable(const char* operation) {
  if (!m_delivered || m_releases != 0) {
    Journal::instance().violation(std::string(operation) + " of a buffer that is not held");
  }
}

void FakeBuffer::release() {
  run(onRelease);
  usable("release");
  if (m_open != 0) {
    Journal::instance().violation("release of a buffer whose bytes are locked");
  }
  ++m_releases;
  std::fill_n(m_bytes.get(), m_content.size(), kPoison);
}

std::uint8_t* FakeBuffer::lockData() {
  run(onLock);
  usable("lockData");
  ++m_locks;
  ++m_open;
  return m_bytes.get();
}

void FakeBuffer::unlockData() {
  run(onUnlock);
  usable("unlockData");
  if (m_open-- <= 0) {
    Journal::instance().violation("unlockData of bytes that are not locked");
  }
}
