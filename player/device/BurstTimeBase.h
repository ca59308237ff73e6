// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "host/TimeBaseInterface.h"
#include "player/device/Device.h"
#include "tavro_core/Clock.h"

namespace Player {

/// Time base of the graph's clock for bursts, as a component in passthrough offers none that runs.
/// It is 0 until the device has consumed a burst, and follows host time for at most one burst's
/// length after each, since the clock would treat a whole burst at once as a jump.
class BurstTimeBase final : public Tavro::TimeBaseInterface {
 public:
  BurstTimeBase(Tavro::Clock& clock, const Device& device, std::uint32_t rate);  // [host-thread]
  ~BurstTimeBase() override;
  BurstTimeBase(const BurstTimeBase&) = delete;
  BurstTimeBase& operator=(const BurstTimeBase&) = delete;

  std::uint32_t currentTime() override;
  bool isRunning() override { return true; }
  std::uint32_t timeBasePriority() override { return kPriority; }

 private:
  static constexpr std::uint32_t kPriority = 101;  // above a component's

  std::uint64_t taken() const;  // bursts that the device has consumed

  Tavro::Clock& m_clock;
  const AudioDeviceID m_device;
  const std::uint32_t m_rate;
  const std::uint64_t m_before;  // bursts consumed earlier

  // The clock calls currentTime() on one thread at a time.
  std::uint64_t m_bursts = 0;
  std::uint64_t m_sinceNs = 0;
};

}  // namespace Player
