// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

/// The heap and the mutexes of the process, watched: who links this has malloc(), free(),
/// pthread_mutex_lock() and their relatives replaced in the whole program, in the bundle under
/// check too. Allocations can be made to fail; starting a thread and making a mutex count as
/// allocations.
///
/// The check's own code runs in a Pause: it is neither counted nor refused. Absent under the
/// sanitizers, which replace these functions themselves; RealtimeSanitizer reports nothing in a
/// Pause. [any-thread]
namespace Check::Watch {

bool isPresent();

class Pause {
 public:
  Pause();
  ~Pause();
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;
};

/// Returns how many allocations this thread has made outside every Pause.
std::uint64_t allocations();

/// Makes the n-th allocation of this thread from now on fail, 1 being the next. 0: none.
void refuseAllocation(std::uint64_t nth);

/// Returns how many blocks are allocated at present.
std::int64_t liveBlocks();

/// Returns true if AddressSanitizer, if the program was built with it, finds memory that nothing
/// refers to.
bool hasLeaks();

/// Returns how many different mutexes this thread holds that it locked outside every Pause.
std::size_t heldMutexes();

/// What this thread does between startSection() and endSection(), outside every Pause.
struct Section {
  std::uint64_t allocations = 0;
  std::uint64_t frees = 0;
  std::size_t mostHeld = 0;          // different mutexes at the same time
  std::vector<const void*> mutexes;  // locked, each once; the first eight
};
void startSection();
Section endSection();

/// Returns true if any thread has allocated while it held this mutex.
bool hasAllocatedUnder(const void* mutex);

}  // namespace Check::Watch
