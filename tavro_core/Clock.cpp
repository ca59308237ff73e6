// SPDX-License-Identifier: MIT

#include "tavro_core/Clock.h"

#include "host/Services.h"

namespace Tavro {

namespace {

constexpr std::uint64_t kSamplePeriodNs = 10'000'000;

// How early or late a device's cycles may come without counting as a jump.
constexpr std::int32_t kJitterMs = 25;

// The samples are 10 ms apart. If one is this late, the process was stopped. It is as much as a
// component queues, so a shorter stop does not make the buffers that it fetches late.
constexpr std::int32_t kStoppedMs = 200;

// A reading is renewed long before its 31 bits of host time become ambiguous.
constexpr std::int32_t kRenewAfterMs = 60'000;

std::uint32_t hostNowMs() { return static_cast<std::uint32_t>(GetTimeMS()); }

std::int32_t difference(std::uint32_t later, std::uint32_t earlier) {
  return static_cast<std::int32_t>(later - earlier);
}

}  // namespace

Clock::Clock() : m_thread(HostTime::Role::Host, "clock", [this] { run(); }) {}

Clock::~Clock() {
  m_ends.store(true);
  m_wake.notify();
  m_thread.join();
}

std::uint32_t Clock::currentTime() {
  // An old word with a new host time could be ahead of what other readers get.
  std::uint64_t word = m_reading.load(std::memory_order_acquire);
  for (;;) {
    const ClockReading reading = ClockReading::unpacked(word);
    const std::uint32_t hostMs = hostNowMs();
    if (reading.goes && wasStopped(hostMs)) {
      return m_answered.load(std::memory_order_relaxed);
    }
    const std::uint32_t answer = reading.at(hostMs);
    const std::uint64_t again = m_reading.load(std::memory_order_acquire);
    if (again == word) {
      m_answered.store(answer, std::memory_order_relaxed);
      return answer;
    }
    word = again;
  }
}

void Clock::addTimeBase(TimeBaseInterface* timeBase) {
  const Lock guard(m_lock);
  m_timeBases.push_back(timeBase);
  askTimeBases();
}

void Clock::removeTimeBase(TimeBaseInterface* timeBase) {
  const Lock guard(m_lock);
  std::erase(m_timeBases, timeBase);
  if (m_followed == timeBase) {
    m_followed = nullptr;
  }
  askTimeBases();
}

void Clock::start() {
  const Lock guard(m_lock);
  if (m_state != State::Stands) {
    return;
  }
  m_state = State::Armed;
  askTimeBases();
  m_idle.store(false);
  m_wake.notify();
}

void Clock::pause() {
  const Lock guard(m_lock);
  askTimeBases();
  const std::uint32_t hostMs = hostNowMs();
  publish({reading().at(hostMs), hostMs, false});
  m_state = State::Stands;
  m_followed = nullptr;
  m_idle.store(true);
}

void Clock::set(std::uint32_t graphMs) {
  const Lock guard(m_lock);
  publish({graphMs, hostNowMs(), reading().goes});
  m_followed = nullptr;
  askTimeBases();
}

void Clock::sample() {
  const Lock guard(m_lock);
  askTimeBases();
}

void Clock::run() {
  while (!m_ends.load()) {
    const std::uint64_t next = m_idle.load() ? HostTime::kNever : HostTime::now() + kSamplePeriodNs;
    HostTime::waitUntil(next, m_wake, "the next clock sample");
    sample();
  }
}

void Clock::askTimeBases() {
  const std::uint32_t hostMs = hostNowMs();
  if (m_state == State::Follows && wasStopped(hostMs)) {
    publish({m_answered.load(std::memory_order_relaxed), hostMs, false});
    m_state = State::Armed;
    m_followed = nullptr;
  }
  m_sampledMs.store(hostMs, std::memory_order_release);  // after the reading that belongs to it
  if (m_state == State::Stands) {
    return;
  }
  TimeBaseInterface* const chosen = leader();
  if (chosen == nullptr) {
    m_followed = nullptr;
    steer(reading().at(hostMs), hostMs);
    return;
  }
  const std::uint32_t baseMs = chosen->currentTime();
  if (chosen != m_followed) {
    m_followed = chosen;
    m_moves = false;
  } else {
    follow(baseMs, hostMs);
  }
  m_lastBaseMs = baseMs;
  m_lastHostMs = hostMs;
}

bool Clock::wasStopped(std::uint32_t hostMs) const {
  return difference(hostMs, m_sampledMs.load(std::memory_order_acquire)) > kStoppedMs;
}

TimeBaseInterface* Clock::leader() const {
  TimeBaseInterface* best = nullptr;
  for (TimeBaseInterface* candidate : m_timeBases) {
    if (candidate->isRunning() &&
        (best == nullptr || candidate->timeBasePriority() > best->timeBasePriority())) {
      best = candidate;
    }
  }
  return best;
}

void Clock::follow(std::uint32_t baseMs, std::uint32_t hostMs) {
  const std::int32_t step = difference(baseMs, m_lastBaseMs);
  const std::int32_t passed = difference(hostMs, m_lastHostMs);
  if (!m_moves) {
    // Running, but its first cycle is yet to come: the callback of that cycle must read the time
    // that was set.
    m_moves = step != 0;
    if (m_moves) {
      anchor(baseMs, hostMs);
    }
    return;
  }
  if (step < -kJitterMs || step > passed + kJitterMs) {
    anchor(baseMs, hostMs);
    return;
  }
  steer(m_anchorGraphMs + (baseMs - m_anchorBaseMs), hostMs);
}

void Clock::anchor(std::uint32_t baseMs, std::uint32_t hostMs) {
  m_anchorBaseMs = baseMs;
  m_anchorGraphMs = reading().at(hostMs);
  if (m_state == State::Armed) {
    m_state = State::Follows;
    publish({m_anchorGraphMs, hostMs, true});
  }
}

void Clock::steer(std::uint32_t targetMs, std::uint32_t hostMs) {
  const ClockReading now = reading();
  const std::uint32_t answered = now.at(hostMs);
  const std::int32_t ahead = difference(answered, targetMs);
  if (!now.goes) {
    return;
  }
  if (ahead < 0) {
    publish({targetMs, hostMs, true});
  } else if (ahead > 0) {
    // Wait for the target, from the latest time that any reader can have got by now.
    const std::uint32_t held = now.at(hostMs + 1);
    publish({held, hostMs + (held - targetMs), true});
  } else if (now.ageMs(hostMs) > kRenewAfterMs) {
    publish({answered, hostMs, true});
  }
}

ClockReading Clock::reading() const {
  return ClockReading::unpacked(m_reading.load(std::memory_order_relaxed));
}

void Clock::publish(ClockReading reading) {
  m_answered.store(reading.graphMs, std::memory_order_relaxed);
  m_reading.store(reading.packed(), std::memory_order_release);
}

}  // namespace Tavro
