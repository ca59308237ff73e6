// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <cstring>
#include <new>
#include <utility>

#include "StandardAllocator.h"

namespace Tavro {

/// The framework's string: `m_length` characters and a NUL, stored with a borrowed allocator. A
/// string made from a null pointer has no storage and equals the empty string.
///
/// Not synchronised; each thread uses its own value.
template <class C, class Alloc>
class norvane_string {
 public:
  norvane_string(const C* source, Alloc* allocator) : m_allocator(allocator) { copyFrom(source); }

  norvane_string(const norvane_string& other) : m_allocator(other.m_allocator) {
    copyFrom(other.m_data);
  }

  norvane_string& operator=(const norvane_string& other) {
    norvane_string copy(other);
    std::swap(m_data, copy.m_data);
    std::swap(m_length, copy.m_length);
    std::swap(m_allocator, copy.m_allocator);
    return *this;
  }

  ~norvane_string() {
    if (m_data != nullptr) {
      m_allocator->deallocate(m_data);
    }
    m_data = nullptr;
    m_length = 0;
  }

  /// Compares the characters up to the NUL exactly. A string without storage counts as empty.
  friend bool operator==(const norvane_string& a, const norvane_string& b) {
    const C none[1] = {C{}};
    const C* left = a.m_data != nullptr ? a.m_data : none;
    const C* right = b.m_data != nullptr ? b.m_data : none;
    while (*left != C{} && *left == *right) {
      ++left;
      ++right;
    }
    return *left == *right;
  }

  C* m_data = nullptr;
  std::uint32_t m_length = 0;  // characters, without the NUL
  Alloc* m_allocator;          // not owned

 private:
  void copyFrom(const C* source) {
    if (source == nullptr) {
      return;
    }
    std::size_t length = 0;
    while (source[length] != C{}) {
      ++length;
    }
    if (length >= UINT32_MAX) {  // the count including the NUL would overflow
      throw std::bad_alloc();
    }
    const auto count = static_cast<std::uint32_t>(length) + 1;
    m_data = m_allocator->allocate(count);
    std::memcpy(m_data, source, std::size_t{count} * sizeof(C));
    m_length = count - 1;
  }
};

using NarrowString = norvane_string<char, StandardAllocator<char>>;
using WideString = norvane_string<wchar_t, StandardAllocator<wchar_t>>;

}  // namespace Tavro
