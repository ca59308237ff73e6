// SPDX-License-Identifier: MIT

#include "AllocationWatch.h"

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <dlfcn.h>
#include <pthread.h>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)

bool AllocationWatch::present() { return false; }
std::uint64_t AllocationWatch::countOfThisThread() { return 0; }
AllocationWatch::Pause::Pause() = default;
AllocationWatch::Pause::~Pause() {}  // NOLINT: an object that is only held must not look unused
void AllocationWatch::refuseNth(std::uint64_t) {}
std::int64_t AllocationWatch::liveBlocks() { return 0; }

#else

extern "C" void* __libc_malloc(std::size_t bytes);
extern "C" void __libc_free(void* block);

namespace {

thread_local std::uint64_t allocations = 0;
thread_local unsigned pauses = 0;
thread_local std::uint64_t refusedAllocation = 0;
std::atomic<std::int64_t> blocksAlive{0};

bool isRefused() { return pauses == 0 && ++allocations == refusedAllocation; }

template <class Function>
Function* next(const char* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*body)(void*), void* argument) {
  static auto* const real = next<decltype(pthread_create)>("pthread_create");
  return isRefused() ? EAGAIN : real(thread, attributes, body, argument);
}

extern "C" int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
  static auto* const real = next<decltype(pthread_mutex_init)>("pthread_mutex_init");
  return isRefused() ? EAGAIN : real(mutex, attributes);
}

extern "C" void* malloc(std::size_t bytes) {
  if (isRefused()) {
    errno = ENOMEM;
    return nullptr;
  }
  blocksAlive.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(bytes);
}

extern "C" void free(void* block) {
  if (block != nullptr) {
    blocksAlive.fetch_sub(1, std::memory_order_relaxed);
  }
  __libc_free(block);
}

bool AllocationWatch::present() { return true; }

std::uint64_t AllocationWatch::countOfThisThread() { return allocations; }

AllocationWatch::Pause::Pause() { ++pauses; }
AllocationWatch::Pause::~Pause() { --pauses; }

void AllocationWatch::refuseNth(std::uint64_t nth) {
  refusedAllocation = nth == 0 ? 0 : allocations + nth;
}

std::int64_t AllocationWatch::liveBlocks() { return blocksAlive; }

#endif
