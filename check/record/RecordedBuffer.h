// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <utility>

#include "check/record/Bytes.h"
#include "check/record/Journal.h"
#include "host/TavroCore.h"

namespace Check {

/// Written over a buffer's bytes at its release, so that a later read shows in the sound (and as a
/// race to ThreadSanitizer).
inline constexpr std::uint8_t kReleasedByte = 0xDD;

/// A media buffer with one reference that counts what is done with it. A second release, an access
/// after the release and a release of locked bytes are misuses. [any-thread]
class RecordedBuffer : public Tavro::MediaBuffer {
 public:
  RecordedBuffer(Bytes bytes, std::uint32_t timeStampMs, std::uint32_t durationMs)
      : MediaBuffer(static_cast<std::uint32_t>(bytes.size()), 1, timeStampMs, durationMs),
        m_content(std::move(bytes)),
        m_bytes(new std::uint8_t[m_content.size()]) {
    std::copy(m_content.begin(), m_content.end(), m_bytes.get());
  }

  void release() override {
    begin("release() of a buffer that is not held", onRelease);
    misuseIf(m_open != 0, "release() of a buffer whose bytes are locked");
    ++m_releases;
    std::fill_n(m_bytes.get(), m_content.size(), kReleasedByte);
  }

  std::uint8_t* lockData() override {
    begin("lockData() of a buffer that is not held", onLock);
    ++m_locks;
    ++m_open;
    return m_bytes.get();
  }

  void unlockData() override {
    begin("unlockData() of a buffer that is not held", onUnlock);
    misuseIf(m_open-- <= 0, "unlockData() of bytes that are not locked");
  }

  void deliver() { m_delivered = true; }  // upstream passes its one reference on
  bool isDelivered() const { return m_delivered; }
  unsigned releases() const { return m_releases; }
  unsigned locks() const { return m_locks; }
  const Bytes& content() const { return m_content; }  // as it was made

  // Run at the beginning of the operation, before it takes effect.
  std::function<void()> onLock, onUnlock, onRelease;

 private:
  void begin(const char* unlessHeld, const std::function<void()>& hook) {
    callHook(hook);
    misuseIf(!m_delivered || m_releases != 0, unlessHeld);
  }

  const Bytes m_content;
  std::unique_ptr<std::uint8_t[]> m_bytes;
  std::atomic<bool> m_delivered{false};
  std::atomic<unsigned> m_releases{0};
  std::atomic<unsigned> m_locks{0};
  std::atomic<int> m_open{0};
};

}  // namespace Check
