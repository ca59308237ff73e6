#pragma once

#include <cstdint>

#include "host/TimeBaseInterface.h"
#include "player/device/Device.h"
#include "tavro_core/Clock.h"

namespace Player {

/// How far the device is with the bursts that it was given, for the graph's clock: a component that
/// passes them through offers no time base that runs. It stands until the device has consumed one
/// and at most a burst's length after the last; in between host time carries it on, since the clock
/// takes a whole burst at once for a leap.
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

  std::uint64_t taken() const;  // bursts, by the device

  Tavro::Clock& m_clock;
  const AudioDeviceID m_device;
  const std::uint32_t m_rate;
  const std::uint64_t m_before;  // bursts

  // The clock asks one at a time.
  std::uint64_t m_bursts = 0;
  std::uint64_t m_sinceNs = 0;
};

}  // namespace Player
