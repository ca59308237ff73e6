// SPDX-License-Identifier: MIT

#include "tavro_core/BufferPool.h"

#include "tavro_core/Ledger.h"

namespace Tavro {

namespace {

constexpr std::uint32_t kNone = UINT32_MAX;
constexpr std::uint32_t kAlignment = 64;  // bytes

std::uint64_t nextTop(std::uint64_t top, std::uint32_t index) {
  return ((top >> 32) + 1) << 32 | index;
}

std::uint32_t aligned(std::uint32_t bytes) { return (bytes + kAlignment - 1) & ~(kAlignment - 1); }

}  // namespace

void PooledBuffer::release() {
  std::uint32_t references = m_references.load(std::memory_order_relaxed);
  do {
    if (references == 0) {
      m_pool->m_ledger.releasedTooOften();
      return;
    }
  } while (
      !m_references.compare_exchange_weak(references, references - 1, std::memory_order_acq_rel));
  if (references == 1) {
    m_pool->giveBack(*this);
  }
}

std::uint8_t* PooledBuffer::lockData() {
  mark(kRead);
  return m_bytes;
}

void PooledBuffer::describe(std::uint32_t sizeBytes, std::uint32_t stampMs,
                            std::uint32_t durationMs) {
  resize(sizeBytes);
  chunkSize() = sizeBytes;
  timeStamp = stampMs;
  duration = durationMs;
}

BufferPool::BufferPool(std::uint32_t count, std::uint32_t capacityBytes, Ledger& ledger)
    : m_capacityBytes(capacityBytes),
      m_ledger(ledger),
      m_storage(std::size_t{count} * aligned(capacityBytes)),
      m_buffers(new PooledBuffer[count]),
      m_below(std::make_unique<std::atomic<std::uint32_t>[]>(count)),
      m_top(count > 0 ? 0 : kNone) {
  for (std::uint32_t i = 0; i < count; ++i) {
    m_buffers[i].m_pool = this;
    m_buffers[i].m_index = i;
    m_buffers[i].m_bytes = m_storage.data() + std::size_t{i} * aligned(capacityBytes);
    m_below[i].store(i + 1 < count ? i + 1 : kNone, std::memory_order_relaxed);
  }
}

PooledBuffer* BufferPool::acquire() {
  std::uint64_t top = m_top.load(std::memory_order_acquire);
  for (;;) {
    const auto index = static_cast<std::uint32_t>(top);
    if (index == kNone) {
      return nullptr;
    }
    const std::uint32_t below = m_below[index].load(std::memory_order_relaxed);
    if (m_top.compare_exchange_weak(top, nextTop(top, below), std::memory_order_acquire)) {
      PooledBuffer& buffer = m_buffers[index];
      buffer.m_marks.store(0, std::memory_order_relaxed);
      buffer.m_references.store(1, std::memory_order_relaxed);
      return &buffer;
    }
  }
}

void BufferPool::giveBack(PooledBuffer& buffer) {
  // After the push another caller may own the buffer, and once the ledger has counted it the pool
  // may be destroyed.
  Ledger& ledger = m_ledger;
  const std::uint32_t marks = buffer.marks();
  const std::uint32_t stampMs = buffer.timeStamp;
  const std::uint32_t bytes = buffer.bufferSize();
  std::uint64_t top = m_top.load(std::memory_order_relaxed);
  do {
    m_below[buffer.m_index].store(static_cast<std::uint32_t>(top), std::memory_order_relaxed);
  } while (
      !m_top.compare_exchange_weak(top, nextTop(top, buffer.m_index), std::memory_order_release));
  ledger.returned(marks, stampMs, bytes);
}

}  // namespace Tavro
