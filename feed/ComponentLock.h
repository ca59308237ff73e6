// SPDX-License-Identifier: MIT

#pragma once

#include <boost/thread/recursive_mutex.hpp>

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

}  // namespace Tavro
