#include "AllocationWatch.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <pthread.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

bool AllocationWatch::present() { return false; }
std::uint64_t AllocationWatch::countOfThisThread() { return 0; }
AllocationWatch::Pause::Pause() = default;
AllocationWatch::Pause::~Pause() {}  // NOLINT: an object that is only held must not look unused
void AllocationWatch::follow(void*) {}
unsigned AllocationWatch::heldBlocks() { return 0; }
unsigned AllocationWatch::doubleFrees() { return 0; }
void AllocationWatch::forgetBlocks() {}
void AllocationWatch::refuse(std::size_t) {}
void AllocationWatch::refuseNth(std::uint64_t) {}
std::int64_t AllocationWatch::liveBlocks() { return 0; }
void AllocationWatch::refuseThreads(bool) {}

#else

extern "C" void* __libc_malloc(std::size_t bytes);
extern "C" void __libc_free(void* block);

namespace {

thread_local std::uint64_t allocations = 0;
thread_local unsigned pauses = 0;
thread_local std::uint64_t refusedAllocation = 0;
std::atomic<std::size_t> refusedBytes{0};
std::atomic<std::int64_t> blocksAlive{0};
std::atomic<bool> threadsRefused{false};

/// Fixed slots: nothing in here may allocate.
struct Slot {
  std::atomic<void*> block{nullptr};
  std::atomic<bool> held{false};
};
std::array<Slot, 256> slots;
std::atomic<unsigned> slotsInUse{0};
std::atomic<unsigned> secondFrees{0};

Slot* slotOf(void* block) {
  if (slotsInUse.load() == 0 || block == nullptr) {
    return nullptr;
  }
  for (Slot& slot : slots) {
    if (slot.block.load() == block) {
      return &slot;
    }
  }
  return nullptr;
}

void vacate(Slot& slot) {
  slot.block = nullptr;
  --slotsInUse;
}

}  // namespace

extern "C" void* malloc(std::size_t bytes) {
  if (pauses == 0) {
    ++allocations;
  }
  const bool refusedSize = bytes != 0 && bytes == refusedBytes.load(std::memory_order_relaxed);
  if (refusedSize || (pauses == 0 && allocations == refusedAllocation)) {
    errno = ENOMEM;
    return nullptr;
  }
  void* block = __libc_malloc(bytes);
  blocksAlive.fetch_add(1, std::memory_order_relaxed);
  if (Slot* slot = slotOf(block)) {
    vacate(*slot);
  }
  return block;
}

extern "C" void free(void* block) {
  if (Slot* slot = slotOf(block)) {
    if (!slot->held.exchange(false)) {
      ++secondFrees;
      return;
    }
  }
  if (block != nullptr) {
    blocksAlive.fetch_sub(1, std::memory_order_relaxed);
  }
  __libc_free(block);
}

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) {
  using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
  static const auto create = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
  return threadsRefused ? EAGAIN : create(thread, attributes, body, argument);
}

bool AllocationWatch::present() { return true; }

std::uint64_t AllocationWatch::countOfThisThread() { return allocations; }

AllocationWatch::Pause::Pause() { ++pauses; }
AllocationWatch::Pause::~Pause() { --pauses; }

void AllocationWatch::follow(void* block) {
  if (block == nullptr || slotOf(block) != nullptr) {
    return;
  }
  for (Slot& slot : slots) {
    if (slot.block.load() == nullptr) {
      slot.held = true;
      slot.block = block;
      ++slotsInUse;
      return;
    }
  }
}

unsigned AllocationWatch::heldBlocks() {
  unsigned count = 0;
  for (Slot& slot : slots) {
    count += slot.block.load() != nullptr && slot.held.load() ? 1U : 0U;
  }
  return count;
}

unsigned AllocationWatch::doubleFrees() { return secondFrees; }

void AllocationWatch::forgetBlocks() {
  for (Slot& slot : slots) {
    if (slot.block.load() != nullptr) {
      vacate(slot);
    }
  }
  secondFrees = 0;
}

void AllocationWatch::refuse(std::size_t bytes) { refusedBytes = bytes; }

void AllocationWatch::refuseNth(std::uint64_t nth) {
  refusedAllocation = nth == 0 ? 0 : allocations + nth;
}

std::int64_t AllocationWatch::liveBlocks() { return blocksAlive; }

void AllocationWatch::refuseThreads(bool refuse) { threadsRefused = refuse; }

#endif
