// SPDX-License-Identifier: MIT

#pragma once

#include <boost/thread/recursive_mutex.hpp>

#include "locks/NonBlocking.h"
#include "locks/ThreadSafety.h"

namespace Tavro {

/// A lock of a component: Boost's recursive mutex, as clang's analysis needs it.
class TAVRO_LOCKABLE ComponentMutex : public boost::recursive_mutex {};

/// Holds a component's lock during its life.
class TAVRO_SCOPED_LOCK ComponentLock {
 public:
  explicit ComponentLock(ComponentMutex& mutex) TAVRO_ACQUIRE(mutex) : m_lock(mutex) {}
  ~ComponentLock() TAVRO_RELEASE() {}
  ComponentLock(const ComponentLock&) = delete;
  ComponentLock& operator=(const ComponentLock&) = delete;

 private:
  const boost::recursive_mutex::scoped_lock m_lock;
};

/// A lock that the callbacks take, too. A real-time thread may wait for this one.
class TAVRO_LOCKABLE CallbackMutex {
 public:
  void lock() TAVRO_NONBLOCKING TAVRO_ACQUIRE() {
    TAVRO_CALLS_OUT(TAVRO_MAY_BLOCK; m_native.lock();)
  }
  void unlock() TAVRO_NONBLOCKING TAVRO_RELEASE() {
    TAVRO_CALLS_OUT(TAVRO_MAY_BLOCK; m_native.unlock();)
  }

 private:
  boost::recursive_mutex m_native;
};

/// Holds a CallbackMutex during its life.
class TAVRO_SCOPED_LOCK CallbackLock {
 public:
  explicit CallbackLock(CallbackMutex& mutex) TAVRO_ACQUIRE(mutex) : m_mutex(mutex) {
    m_mutex.lock();
  }
  ~CallbackLock() TAVRO_RELEASE() { m_mutex.unlock(); }
  CallbackLock(const CallbackLock&) = delete;
  CallbackLock& operator=(const CallbackLock&) = delete;

 private:
  CallbackMutex& m_mutex;
};

}  // namespace Tavro
