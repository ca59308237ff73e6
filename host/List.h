// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

template <class T>
struct Node {
  T value;
  Node* next;
};

/// Singly linked list with nodes from a borrowed allocator. Not synchronised.
template <class T, class Alloc>
class List {
 public:
  explicit List(Alloc* allocator) : m_allocator(allocator) {}
  List(const List&) = delete;
  List& operator=(const List&) = delete;

  ~List() {
    while (m_first != nullptr) {
      Node<T>* next = m_first->next;
      m_allocator->deallocate(m_first);
      m_first = next;
    }
  }

  void append(const T& value) {
    Node<T>* node = m_allocator->allocate(1);
    node->next = nullptr;
    node->value = value;
    (m_last != nullptr ? m_last->next : m_first) = node;
    m_last = node;
    ++m_count;
  }

  Node<T>* m_first = nullptr;
  Node<T>* m_last = nullptr;
  std::uint32_t m_count = 0;
  Alloc* m_allocator;  // not owned
};

}  // namespace Tavro
