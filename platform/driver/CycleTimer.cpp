// SPDX-License-Identifier: MIT

#include "platform/driver/CycleTimer.h"

#include <cmath>
#include <utility>

namespace Platform {
namespace {

// A cycle later than this is not caught up with: the device or the process was stopped, not merely
// busy, and clients have no more than this queued.
constexpr std::uint64_t kLongestCatchUpNs = 200'000'000;

}  // namespace

CycleTimer::CycleTimer(std::string name, std::function<void()> afterCycle, int clockPpm)
    : m_name(std::move(name)), m_afterCycle(std::move(afterCycle)), m_clockPpm(clockPpm) {}

void CycleTimer::start(CycleSource& source) {
  stop();
  m_stopping.store(false);
  m_thread = std::make_unique<Tavro::HostTime::Thread>(Tavro::HostTime::Role::Device, m_name,
                                                       [this, &source] { run(source); });
}

void CycleTimer::stop() {
  if (m_thread) {
    m_stopping.store(true);
    m_wake.notify();
    m_thread->join();
    m_thread.reset();
  }
}

void CycleTimer::run(CycleSource& source) {
  std::uint64_t origin = Tavro::HostTime::now();
  double rate = source.sampleRate();
  std::uint64_t frames = 0;
  while (!m_stopping.load()) {
    const std::uint64_t due = origin + offsetNs(frames, rate);
    if (Tavro::HostTime::waitUntil(due, m_wake, "device cycle")) {
      continue;
    }
    if (source.sampleRate() != rate) {
      origin = due;
      rate = source.sampleRate();
      frames = 0;
    }
    const std::uint32_t played = source.cycle(CycleSource::kUsualFrames, due);
    m_afterCycle();
    if (played == 0) {
      break;
    }
    frames += played;
    if (Tavro::HostTime::now() > due + kLongestCatchUpNs) {
      origin = Tavro::HostTime::now();
      frames = 0;
    }
  }
}

/// Computed from the frame count, so that errors do not accumulate. Rates are whole numbers.
std::uint64_t CycleTimer::offsetNs(std::uint64_t frames, double rate) const {
  const auto nominal = static_cast<std::uint64_t>(std::llround(rate));
  const auto million = static_cast<std::uint64_t>(std::int64_t{1'000'000} + m_clockPpm);
  __extension__ using Wide = unsigned __int128;
  return static_cast<std::uint64_t>(Wide{frames} * 1'000'000'000 * 1'000'000 /
                                    (Wide{nominal} * million));
}

}  // namespace Platform
