// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

/// A piece of a stream, reference-counted by the host. The caller that reads one from
/// PortQuery::kNextBuffer owns one reference and must call release() exactly once; it may read the
/// bytes between lockData() and unlockData() while it holds the reference.
class MediaBuffer {
 public:
  virtual ~MediaBuffer() = default;

  std::uint32_t bufferSize() const;  // bytes of media [any-thread]
  std::uint32_t& chunkSize();        // [any-thread]

  virtual void release() = 0;            // [any-thread]
  virtual std::uint8_t* lockData() = 0;  // [any-thread]
  virtual void unlockData() = 0;         // [any-thread]

  std::uint32_t timeStamp;  // of the first byte, milliseconds of the graph clock
  std::uint32_t duration;   // of all bytes, milliseconds

 protected:
  MediaBuffer(std::uint32_t size, std::uint32_t chunkSize, std::uint32_t timeStamp,
              std::uint32_t duration);
  MediaBuffer(const MediaBuffer&) = delete;
  MediaBuffer& operator=(const MediaBuffer&) = delete;

  void resize(std::uint32_t size) { m_size = size; }  // by the host, before it hands out the buffer

 private:
  std::uint32_t m_size;
  std::uint32_t m_chunkSize;
};

}  // namespace Tavro
