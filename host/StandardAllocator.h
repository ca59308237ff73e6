#pragma once

#include <cstdint>

namespace Tavro {

/// Array allocator behind the framework's strings and lists. [any-thread]
template <class T>
class StandardAllocator {
 public:
  virtual ~StandardAllocator() = default;

  /// `count` default-initialised elements. Throws std::bad_alloc, also for a byte size that does
  /// not fit the address space.
  virtual T* allocate(std::uint32_t count) { return new T[count]; }

  /// Gives back what allocate() returned; null is ignored.
  virtual void deallocate(T* p) { delete[] p; }
};

/// The one allocator that all strings of a loaded module share. Made by the first use, so that it
/// is destroyed, at the module's unload, after every static string built with it.
template <class T>
StandardAllocator<T>* sharedAllocator() {
  static StandardAllocator<T> instance;
  return &instance;
}

}  // namespace Tavro
