#pragma once

#include <cstddef>
#include <cstdint>

/// The process's malloc, free and thread creation, watched: how often a thread allocates, and
/// whether a block is given back exactly once; and made to fail. Absent under the sanitizers, which
/// bring allocation functions (and double-free and leak checks) of their own. [any-thread]
namespace AllocationWatch {

bool present();

/// Allocations made by this thread outside every Pause.
std::uint64_t countOfThisThread();

/// The fakes' own allocations do not count.
class Pause {
 public:
  Pause();
  ~Pause();
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;
};

/// Follows a block from malloc until it is given back.
void follow(void* block);
unsigned heldBlocks();   // followed, not given back
unsigned doubleFrees();  // followed, given back again before their place was reused
void forgetBlocks();

/// From now on malloc of exactly `bytes` answers null. 0: none.
void refuse(std::size_t bytes);

/// From now on the n-th allocation of this thread, 1 the next, answers null. 0: none.
void refuseNth(std::uint64_t nth);

/// Blocks that malloc gave and free has not got back.
std::int64_t liveBlocks();

/// From now on no thread can be created.
void refuseThreads(bool refuse);

}  // namespace AllocationWatch
