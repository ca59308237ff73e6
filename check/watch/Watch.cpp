// SPDX-License-Identifier: MIT

#include "check/watch/Watch.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <pthread.h>

#include "locks/NonBlocking.h"

#if defined(__SANITIZE_ADDRESS__)

#include <sanitizer/lsan_interface.h>

bool Check::Watch::hasLeaks() { return __lsan_do_recoverable_leak_check() != 0; }

#else

bool Check::Watch::hasLeaks() { return false; }

#endif

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || \
    defined(TAVRO_WATCHES_REAL_TIME)

namespace Check::Watch {
bool isPresent() { return false; }
#if defined(TAVRO_WATCHES_REAL_TIME)
Pause::Pause() { __rtsan_disable(); }
Pause::~Pause() { __rtsan_enable(); }
#else
Pause::Pause() = default;
Pause::~Pause() {}  // NOLINT: an object that is only held must not look unused
#endif
std::uint64_t allocations() { return 0; }
void refuseAllocation(std::uint64_t) {}
std::int64_t liveBlocks() { return 0; }
std::size_t heldMutexes() { return 0; }
void startSection() {}
Section endSection() { return {}; }
bool hasAllocatedUnder(const void*) { return false; }
}  // namespace Check::Watch

#else

extern "C" void* __libc_malloc(std::size_t bytes);
extern "C" void* __libc_calloc(std::size_t count, std::size_t bytes);
extern "C" void* __libc_realloc(void* block, std::size_t bytes);
extern "C" void* __libc_memalign(std::size_t alignment, std::size_t bytes);
extern "C" void __libc_free(void* block);

namespace {

/// A set of few mutexes that allocates nothing; what does not fit is left out.
class FewMutexes {
 public:
  void add(const void* mutex) {
    if (m_count < m_mutexes.size() && !contains(mutex)) {
      m_mutexes[m_count++] = mutex;
    }
  }
  bool contains(const void* mutex) const { return std::find(begin(), end(), mutex) != end(); }
  void clear() { m_count = 0; }
  const void* const* begin() const { return m_mutexes.data(); }
  const void* const* end() const { return m_mutexes.data() + m_count; }

 private:
  std::array<const void*, 8> m_mutexes{};
  std::size_t m_count = 0;
};

/// The mutexes that a thread holds, one entry for each time that it has locked one.
class HeldMutexes {
 public:
  void push(const void* mutex) {
    if (m_depth < m_stack.size()) {
      m_stack[m_depth++] = mutex;
    }
  }
  void pop(const void* mutex) {
    const auto end = m_stack.begin() + static_cast<std::ptrdiff_t>(m_depth);
    const auto found = std::find(m_stack.begin(), end, mutex);
    if (found != end) {
      std::copy(found + 1, end, found);
      --m_depth;
    }
  }
  std::size_t different() const {
    std::size_t count = 0;
    for (std::size_t i = 0; i < m_depth; ++i) {
      count += std::find(m_stack.begin(), m_stack.begin() + static_cast<std::ptrdiff_t>(i),
                         m_stack[i]) == m_stack.begin() + static_cast<std::ptrdiff_t>(i)
                   ? 1
                   : 0;
    }
    return count;
  }
  const void* const* begin() const { return m_stack.data(); }
  const void* const* end() const { return m_stack.data() + m_depth; }

 private:
  std::array<const void*, 16> m_stack{};
  std::size_t m_depth = 0;
};

struct Thread {
  unsigned pauses = 0;
  std::uint64_t allocations = 0;
  std::uint64_t frees = 0;
  std::uint64_t refused = 0;  // the number of the allocation that fails; 0: none
  HeldMutexes held;
  FewMutexes locked;  // in the present section
  std::size_t mostHeld = 0;
  std::uint64_t allocationsBefore = 0;  // the present section
  std::uint64_t freesBefore = 0;
};

thread_local constinit Thread thread;
std::atomic<std::int64_t> blocks{0};
std::array<std::atomic<const void*>, 64> allocatedUnder{};  // null: free

void noteAllocationUnder(const void* mutex) {
  for (auto& slot : allocatedUnder) {
    const void* present = slot.load(std::memory_order_relaxed);
    if (present == mutex || (present == nullptr && slot.compare_exchange_strong(present, mutex)) ||
        present == mutex) {
      return;
    }
  }
}

/// Counts an allocation of the calling thread; returns true if it must fail.
bool isRefused() {
  if (thread.pauses != 0) {
    return false;
  }
  for (const void* mutex : thread.held) {
    noteAllocationUnder(mutex);
  }
  return ++thread.allocations == thread.refused;
}

void* counted(void* block) {
  blocks.fetch_add(block != nullptr ? 1 : 0, std::memory_order_relaxed);
  return block;
}

void* noMemory() {
  errno = ENOMEM;
  return nullptr;
}

/// The function of this name that the program would have without this file. No static guard, since
/// the lookup itself may lock and allocate.
template <class Function>
Function* next(std::atomic<Function*>& found, const char* name) {
  if (found.load(std::memory_order_relaxed) == nullptr) {
    found = reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
  }
  return found;
}

using Create = int(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
using Init = int(pthread_mutex_t*, const pthread_mutexattr_t*);
using OnMutex = int(pthread_mutex_t*);
constinit std::atomic<Create*> nextCreate{nullptr};
constinit std::atomic<Init*> nextInit{nullptr};
constinit std::atomic<OnMutex*> nextLock{nullptr};
constinit std::atomic<OnMutex*> nextTryLock{nullptr};
constinit std::atomic<OnMutex*> nextUnlock{nullptr};

int locked(int result, const void* mutex) {
  if (result == 0 && thread.pauses == 0) {
    thread.held.push(mutex);
    thread.locked.add(mutex);
    thread.mostHeld = std::max(thread.mostHeld, thread.held.different());
  }
  return result;
}

}  // namespace

extern "C" {

int pthread_create(pthread_t* created, const pthread_attr_t* attributes, void* (*body)(void*),
                   void* argument) noexcept {
  return isRefused() ? EAGAIN
                     : next(nextCreate, "pthread_create")(created, attributes, body, argument);
}

int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) noexcept {
  return isRefused() ? EAGAIN : next(nextInit, "pthread_mutex_init")(mutex, attributes);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
  return locked(next(nextLock, "pthread_mutex_lock")(mutex), mutex);
}

int pthread_mutex_trylock(pthread_mutex_t* mutex) noexcept {
  return locked(next(nextTryLock, "pthread_mutex_trylock")(mutex), mutex);
}

int pthread_mutex_unlock(pthread_mutex_t* mutex) noexcept {
  thread.held.pop(mutex);
  return next(nextUnlock, "pthread_mutex_unlock")(mutex);
}

void* malloc(std::size_t bytes) noexcept {
  return isRefused() ? noMemory() : counted(__libc_malloc(bytes));
}

void* calloc(std::size_t count, std::size_t bytes) noexcept {
  return isRefused() ? noMemory() : counted(__libc_calloc(count, bytes));
}

void* realloc(void* block, std::size_t bytes) noexcept {
  if (block == nullptr) {
    return malloc(bytes);
  }
  return isRefused() ? noMemory() : __libc_realloc(block, bytes);
}

void* aligned_alloc(std::size_t alignment, std::size_t bytes) noexcept {
  return isRefused() ? noMemory() : counted(__libc_memalign(alignment, bytes));
}

int posix_memalign(void** block, std::size_t alignment, std::size_t bytes) noexcept {
  *block = aligned_alloc(alignment, bytes);
  return *block != nullptr ? 0 : ENOMEM;
}

void free(void* block) noexcept {
  if (block != nullptr) {
    blocks.fetch_sub(1, std::memory_order_relaxed);
    thread.frees += thread.pauses == 0 ? 1 : 0;
  }
  __libc_free(block);
}

}  // extern "C"

namespace Check::Watch {

bool isPresent() { return true; }

Pause::Pause() { ++thread.pauses; }
Pause::~Pause() { --thread.pauses; }

std::uint64_t allocations() { return thread.allocations; }

void refuseAllocation(std::uint64_t nth) {
  thread.refused = nth == 0 ? 0 : thread.allocations + nth;
}

std::int64_t liveBlocks() { return blocks; }

std::size_t heldMutexes() { return thread.held.different(); }

void startSection() {
  thread.allocationsBefore = thread.allocations;
  thread.freesBefore = thread.frees;
  thread.locked.clear();
  thread.mostHeld = thread.held.different();
}

Section endSection() {
  Section section{.allocations = thread.allocations - thread.allocationsBefore,
                  .frees = thread.frees - thread.freesBefore,
                  .mostHeld = thread.mostHeld,
                  .mutexes = {}};
  const Pause pause;
  section.mutexes.assign(thread.locked.begin(), thread.locked.end());
  return section;
}

bool hasAllocatedUnder(const void* mutex) {
  return std::any_of(allocatedUnder.begin(), allocatedUnder.end(),
                     [mutex](const auto& slot) { return slot.load() == mutex; });
}

}  // namespace Check::Watch

#endif
