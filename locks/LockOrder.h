// SPDX-License-Identifier: MIT

#pragma once

#include "locks/LockRank.h"

/// Checks at run time, in builds with TAVRO_CHECKS_LOCK_ORDER, that each thread takes its locks in
/// the order of LockRank. Otherwise the process aborts and names both locks. In other builds the
/// calls are empty.
namespace Tavro::LockOrder {

#ifdef TAVRO_CHECKS_LOCK_ORDER

inline constexpr bool kIsChecked = true;

/// Call before `lock` is taken, so that a deadlock is reported and not waited for.
void taking(const void* lock, LockRank rank, bool mayBeHeld);
void released(const void* lock);
bool isHeld(const void* lock);
/// Aborts unless the calling thread holds the lock.
void requireHeld(const void* lock, LockRank rank);

#else

inline constexpr bool kIsChecked = false;

inline void taking(const void* /*lock*/, LockRank /*rank*/, bool /*mayBeHeld*/) {}
inline void released(const void* /*lock*/) {}
inline void requireHeld(const void* /*lock*/, LockRank /*rank*/) {}

#endif

}  // namespace Tavro::LockOrder
