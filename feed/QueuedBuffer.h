// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "host/TavroCore.h"

namespace Tavro {

/// Record of the buffer queue: a media buffer and how far it has been played. A plain value; copies
/// share one reference, and release() must be called on exactly one of them. Destroying a record
/// does not affect the buffer.
struct QueuedBuffer {
  std::uint8_t* m_data = nullptr;  // the bytes, only between lockData() and unlockData()
  std::uint32_t m_chunkSize = 0;
  std::uint32_t m_size = 0;       // bytes
  std::uint32_t m_position = 0;   // bytes already consumed
  std::uint32_t m_timeStamp = 0;  // of the first byte, milliseconds of the graph clock
  std::uint32_t m_duration = 0;   // of the whole buffer, milliseconds
  MediaBuffer* m_buffer = nullptr;

  void lockData() {
    if (m_buffer != nullptr) {
      m_data = m_buffer->lockData();
    }
  }

  void unlockData() {
    if (m_buffer != nullptr) {
      m_data = nullptr;
      m_buffer->unlockData();
    }
  }

  void release() {
    if (m_buffer != nullptr) {
      m_buffer->release();
      m_buffer = nullptr;
      m_data = nullptr;
    }
  }
};

}  // namespace Tavro
