#pragma once

#include <cstddef>
#include <new>
#include <optional>
#include <vector>

/// What makes a thread that has to be on time so: the scheduler's real-time class, and memory that
/// is never paged out. Both are asked for where they are of use and done without where they are not
/// permitted; told() says which. Nothing is asked for in simulated time.
namespace Tavro::RealTime {

inline constexpr int kPriority = 10;  // of 1 to 99; what plays on a desktop is about there

/// For the calling thread, SCHED_FIFO, not for its children. Real-time safe, but made for a
/// thread's first cycle. [io-thread]
void askForScheduling();

/// How what was asked for went: 0, or the errno of a refusal.
struct Told {
  std::optional<int> scheduling;  // none: not asked for yet
  std::optional<int> memory;
};
Told told();  // [any-thread]

/// Whole pages, zeroed, locked if permitted. Null: out of memory.
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

/// For what a callback reads and writes.
template <class T>
using LockedVector = std::vector<T, LockingAllocator<T>>;

}  // namespace Tavro::RealTime
