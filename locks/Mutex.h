// SPDX-License-Identifier: MIT

#pragma once

#include <mutex>
#include <type_traits>

#include "locks/LockOrder.h"
#include "locks/LockRank.h"
#include "locks/ThreadSafety.h"

namespace Tavro {

/// A standard mutex with a place in the order of locks, as clang's analysis needs it. Lock holds
/// it, Condition waits with it.
template <class Native, LockRank rank>
class TAVRO_LOCKABLE RankedMutex {
 public:
  RankedMutex() = default;
  RankedMutex(const RankedMutex&) = delete;
  RankedMutex& operator=(const RankedMutex&) = delete;
  ~RankedMutex() = default;

  void lock() TAVRO_ACQUIRE() {
    LockOrder::taking(this, rank, std::is_same_v<Native, std::recursive_mutex>);
    m_native.lock();
  }
  void unlock() TAVRO_RELEASE() {
    m_native.unlock();
    LockOrder::released(this);
  }

  /// For code that runs under the lock where the analysis cannot see it.
  void assertHeld() const TAVRO_ASSERTS_HELD() { LockOrder::requireHeld(this, rank); }

 private:
  friend class Condition;
  Native m_native;
};

template <LockRank rank>
using Mutex = RankedMutex<std::mutex, rank>;

template <LockRank rank>
using RecursiveMutex = RankedMutex<std::recursive_mutex, rank>;

/// Holds a mutex during its life.
template <class AnyMutex>
class TAVRO_SCOPED_LOCK Lock {
 public:
  explicit Lock(AnyMutex& mutex) TAVRO_ACQUIRE(mutex) : m_mutex(mutex) { m_mutex.lock(); }
  ~Lock() TAVRO_RELEASE() { m_mutex.unlock(); }
  Lock(const Lock&) = delete;
  Lock& operator=(const Lock&) = delete;

 private:
  AnyMutex& m_mutex;
};

}  // namespace Tavro
