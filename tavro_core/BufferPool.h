// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "host/MediaBuffer.h"
#include "time/RealTime.h"

namespace Tavro {

class BufferPool;
class Ledger;

/// A media buffer of a pool. Releasing its last reference returns it.
class PooledBuffer final : public MediaBuffer {
 public:
  /// What has happened to it since it left the pool, for the ledger.
  enum Mark : std::uint32_t { kHandedOut = 1, kRead = 2, kReported = 4, kSettled = 8, kBegun = 16 };

  void release() override;
  std::uint8_t* lockData() override;
  void unlockData() override {}

  void retain() { m_references.fetch_add(1, std::memory_order_relaxed); }  // [any-thread]

  /// For use between acquire() and the hand-over: the bytes, and their fields in the contract.
  std::uint8_t* bytes() { return m_bytes; }
  void describe(std::uint32_t sizeBytes, std::uint32_t stampMs, std::uint32_t durationMs);

  void mark(Mark mark) { m_marks.fetch_or(mark, std::memory_order_relaxed); }
  std::uint32_t marks() const { return m_marks.load(std::memory_order_relaxed); }

 private:
  friend class BufferPool;
  PooledBuffer() : MediaBuffer(0, 0, 0, 0) {}

  BufferPool* m_pool = nullptr;
  std::uint32_t m_index = 0;
  std::uint8_t* m_bytes = nullptr;
  std::atomic<std::uint32_t> m_references{0};
  std::atomic<std::uint32_t> m_marks{0};
};

/// Preallocated buffers, so that playing allocates nothing. Must outlive every reference.
class BufferPool {
 public:
  /// `count` buffers of up to `capacityBytes` each.
  BufferPool(std::uint32_t count, std::uint32_t capacityBytes, Ledger& ledger);
  ~BufferPool() = default;
  BufferPool(const BufferPool&) = delete;
  BufferPool& operator=(const BufferPool&) = delete;

  /// Returns a buffer with one reference, or null if none is free. [any-thread], real-time safe
  PooledBuffer* acquire();

  std::uint32_t capacityBytes() const { return m_capacityBytes; }

 private:
  friend class PooledBuffer;
  void giveBack(PooledBuffer& buffer);

  const std::uint32_t m_capacityBytes;
  Ledger& m_ledger;
  RealTime::LockedVector<std::uint8_t> m_storage;
  std::unique_ptr<PooledBuffer[]> m_buffers;

  // Stack of the free buffers' indices; m_below holds the index below each. The upper half of m_top
  // counts changes, so that an index that was popped and pushed again is not taken for unchanged.
  std::unique_ptr<std::atomic<std::uint32_t>[]> m_below;
  std::atomic<std::uint64_t> m_top{0};
};

}  // namespace Tavro
