// SPDX-License-Identifier: MIT

#include "player/device/BurstTimeBase.h"

#include <algorithm>

#include "player/base/StreamFormat.h"
#include "time/HostTime.h"
#include "time/Nanoseconds.h"

namespace Player {

BurstTimeBase::BurstTimeBase(Tavro::Clock& clock, const Device& device, std::uint32_t rate)
    : m_clock(clock), m_device(device.id()), m_rate(rate), m_before(taken()) {
  m_clock.addTimeBase(this);
}

BurstTimeBase::~BurstTimeBase() { m_clock.removeTimeBase(this); }

std::uint64_t BurstTimeBase::taken() const { return AudioDevices::totalsOf(m_device).bursts; }

std::uint32_t BurstTimeBase::currentTime() {
  const std::uint64_t bursts = taken() - m_before;
  const std::uint64_t nowNs = Tavro::HostTime::now();
  if (bursts == 0) {
    return 0;
  }
  if (bursts != m_bursts) {
    m_bursts = bursts;
    m_sinceNs = nowNs;
  }
  const std::uint64_t burstNs = kFramesPerBurst * Tavro::kNanosPerSecond / m_rate;
  const std::uint64_t sinceFrames =
      std::min(nowNs - m_sinceNs, burstNs) * m_rate / Tavro::kNanosPerSecond;
  return static_cast<std::uint32_t>((bursts * kFramesPerBurst + sinceFrames) * 1000 / m_rate);
}

}  // namespace Player
