#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <host/TavroCore.h>
#include <memory>
#include <vector>

/// A media buffer that notices every wrong use: bytes are overwritten at its release, so that a
/// later read shows in the sound (and as a race); a second release, an access after release and a
/// release of locked bytes are violations.
class FakeBuffer : public Tavro::MediaBuffer {
 public:
  FakeBuffer(std::vector<std::uint8_t> bytes, std::uint32_t timeStampMs, std::uint32_t durationMs);

  void release() override;
  std::uint8_t* lockData() override;
  void unlockData() override;

  void deliver() { m_delivered = true; }  // upstream hands its one reference over
  bool delivered() const { return m_delivered; }
  unsigned releases() const { return m_releases; }
  unsigned locks() const { return m_locks; }
  bool bytesLocked() const { return m_open != 0; }
  const std::vector<std::uint8_t>& content() const { return m_content; }  // as it was made

  // Run in the middle of the operation, before it takes effect.
  std::function<void()> onLock, onUnlock, onRelease;

 private:
  void usable(const char* operation);

  const std::vector<std::uint8_t> m_content;
  std::unique_ptr<std::uint8_t[]> m_bytes;
  std::atomic<bool> m_delivered{false};
  std::atomic<unsigned> m_releases{0};
  std::atomic<unsigned> m_locks{0};
  std::atomic<int> m_open{0};
};
