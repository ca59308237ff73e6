// SPDX-License-Identifier: MIT

#include "platform/unit/RenderObservation.h"

#include <atomic>
#include <memory>
#include <thread>

#include "locks/Mutex.h"

namespace {

struct Observation {
  AudioDevices::RenderObserver observer;
  void* context;
};

std::atomic<const Observation*> current{nullptr};
std::atomic<std::uint32_t> callsUnderWay{0};  // counted before `current` is read: see below

}  // namespace

namespace Platform {

void reportRender(const AudioDevices::RenderRecord& record) TAVRO_NONBLOCKING {
  if (current.load(std::memory_order_relaxed) == nullptr) {
    return;
  }
  // Sequentially consistent with the exchange below: either this call is counted there, or it sees
  // the new observer here.
  callsUnderWay.fetch_add(1);
  if (const Observation* observation = current.load()) {
    TAVRO_CALLS_OUT(observation->observer(observation->context, record);)
  }
  callsUnderWay.fetch_sub(1);
}

}  // namespace Platform

namespace AudioDevices {

void setRenderObserver(RenderObserver observer, void* context) {
  static Tavro::Mutex<Tavro::LockRank::RenderObserver> mutex;  // one change at a time
  const Tavro::Lock lock(mutex);
  auto* next = observer != nullptr ? new Observation{observer, context} : nullptr;
  const std::unique_ptr<const Observation> former(current.exchange(next));
  while (callsUnderWay.load() != 0) {
    std::this_thread::yield();
  }
}

}  // namespace AudioDevices
