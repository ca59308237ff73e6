// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <new>
#include <optional>
#include <vector>

/// Support for threads that must be on time: the scheduler's real-time class, and memory that is
/// never paged out. Both are requested where they are useful, and a refusal is not an error; told()
/// returns the results. Nothing is requested in simulated time.
namespace Tavro::RealTime {

inline constexpr int kPriority = 10;  // of 1 to 99; usual for desktop audio

/// Requests SCHED_FIFO for the calling thread, but not for its children. Real-time safe, but meant
/// for a thread's first cycle. [io-thread]
void askForScheduling();

/// Results of the requests: 0, or the errno of a refusal.
struct Told {
  std::optional<int> scheduling;  // empty if not requested yet
  std::optional<int> memory;
};
Told told();  // [any-thread]

/// Returns whole pages, zeroed, locked if permitted, or null if out of memory.
void* allocatePages(std::size_t bytes);
void freePages(void* pages, std::size_t bytes);

template <class T>
struct LockingAllocator {
  using value_type = T;
  LockingAllocator() = default;
  template <class Other>
  LockingAllocator(const LockingAllocator<Other>&) {}

  T* allocate(std::size_t count) {
    if (void* pages = allocatePages(count * sizeof(T))) {
      return static_cast<T*>(pages);
    }
    throw std::bad_alloc();
  }
  void deallocate(T* pages, std::size_t count) { freePages(pages, count * sizeof(T)); }
  bool operator==(const LockingAllocator&) const = default;
};

/// For data that a callback reads and writes.
template <class T>
using LockedVector = std::vector<T, LockingAllocator<T>>;

}  // namespace Tavro::RealTime
