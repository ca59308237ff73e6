// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

/// Array allocator of the framework's strings and lists. [any-thread]
template <class T>
class StandardAllocator {
 public:
  virtual ~StandardAllocator() = default;

  /// Returns `count` default-initialised elements. Throws std::bad_alloc, also if their size in
  /// bytes exceeds the address space.
  virtual T* allocate(std::uint32_t count) { return new T[count]; }

  /// Frees what allocate() returned; ignores null.
  virtual void deallocate(T* p) { delete[] p; }
};

/// Returns the allocator that all strings of a loaded module share. It is created on first use, so
/// that it is destroyed, when the module is unloaded, after every static string that uses it.
template <class T>
StandardAllocator<T>* sharedAllocator() {
  static StandardAllocator<T> instance;
  return &instance;
}

}  // namespace Tavro
