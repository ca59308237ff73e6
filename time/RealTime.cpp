// SPDX-License-Identifier: MIT

#include "time/RealTime.h"

#include <atomic>
#include <cerrno>
#include <sched.h>
#include <sys/mman.h>

#include "time/HostTime.h"

namespace Tavro::RealTime {

namespace {

constexpr int kNotAsked = -1;

std::atomic<int> schedulingTold{kNotAsked};
std::atomic<int> memoryTold{kNotAsked};

/// Keeps the first result until a refusal.
void note(std::atomic<int>& told, bool granted) {
  const int answer = granted ? 0 : errno;
  int expected = kNotAsked;
  if (!told.compare_exchange_strong(expected, answer) && expected == 0 && answer != 0) {
    told.store(answer);
  }
}

std::optional<int> answerOf(const std::atomic<int>& told) {
  const int answer = told.load();
  return answer == kNotAsked ? std::nullopt : std::optional(answer);
}

}  // namespace

void askForScheduling() {
  if (HostTime::isSimulated()) {
    return;
  }
  sched_param parameters{};
  parameters.sched_priority = kPriority;
  note(schedulingTold, sched_setscheduler(0, SCHED_FIFO | SCHED_RESET_ON_FORK, &parameters) == 0);
}

Told told() { return {answerOf(schedulingTold), answerOf(memoryTold)}; }

void* allocatePages(std::size_t bytes) {
  void* const pages =
      mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (pages == MAP_FAILED) {
    return nullptr;
  }
  if (!HostTime::isSimulated()) {
    note(memoryTold, mlock(pages, bytes) == 0);
  }
  return pages;
}

void freePages(void* pages, std::size_t bytes) { munmap(pages, bytes); }

}  // namespace Tavro::RealTime
