// SPDX-License-Identifier: MIT

#include "player/engine/ClockHold.h"

#include <utility>

#include "time/Nanoseconds.h"

namespace Player {

namespace {

// Longer than the period of any device, shorter than the clock may run ahead of a full queue.
constexpr std::uint64_t kCyclesAwayNs = 250 * Tavro::kNanosPerMs;

}  // namespace

bool CycleFlow::areRunning(const Device& device) {
  const std::uint64_t cycles = device.cycles();
  if (std::exchange(m_cycles, cycles) != cycles) {
    m_since.restart();
  }
  return Tavro::HostTime::isSimulated() || m_since.elapsed() < kCyclesAwayNs;
}

void ClockHold::update() {
  const Device& device = m_stage.device;
  const bool plays = device.plays() && m_cycles.areRunning(device);
  if (plays == m_isHeld) {
    plays ? restart() : hold();
  }
}

void ClockHold::reset() {
  m_isHeld = false;
  m_cycles = {};
}

void ClockHold::hold() {
  m_isHeld = true;
  m_stage.session.clock().pause();
  m_stage.session.clock().set(m_source.presentStampMs());
  m_stage.enter(PlayerState::Paused);
}

void ClockHold::restart() {
  m_isHeld = false;
  m_stage.session.clock().start();
  m_connection.start();
  m_stage.enter(PlayerState::Playing);
}

}  // namespace Player
