// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

/// The process's malloc and free, watched: how often a thread allocates, and how many blocks are
/// held; and made to fail. Threads and mutexes count as allocations. Absent under the sanitizers,
/// which bring allocation functions (and double-free and leak checks) of their own. [any-thread]
namespace AllocationWatch {

bool present();

/// Allocations made by this thread outside every Pause.
std::uint64_t countOfThisThread();

/// The fakes' own allocations do not count, and are never refused.
class Pause {
 public:
  Pause();
  ~Pause();
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;
};

/// From now on the n-th allocation of this thread, 1 the next, answers null. 0: none.
void refuseNth(std::uint64_t nth);

/// Blocks that malloc gave and free has not got back.
std::int64_t liveBlocks();

}  // namespace AllocationWatch
