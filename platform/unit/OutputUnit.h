// SPDX-License-Identifier: MIT

#pragma once

/// The output unit: the object behind an AudioUnit handle. It holds a configuration, changes it,
/// and starts and stops on its device. CurrentRenderer plays what it is set to.
///
/// Locks: m_change serialises starts, stops and changes and is taken before any of the device's;
/// from inside a cycle of the unit's own device, a stop does not take it and a change is refused.
/// The configuration is written under both m_change and modelLock(); the device's I/O lock guards
/// the renderer.

#include <AudioUnit/AudioUnit.h>

#include <atomic>
#include <memory>
#include <span>
#include <vector>

#include "locks/Mutex.h"
#include "platform/device/Device.h"
#include "platform/device/ModelLock.h"
#include "platform/unit/CurrentRenderer.h"
#include "platform/unit/UnitConfiguration.h"

namespace Platform {

class OutputUnit final : public Client, public std::enable_shared_from_this<OutputUnit> {
 public:
  explicit OutputUnit(std::shared_ptr<Device> device);

  OSStatus setFormat(const AudioStreamBasicDescription& description);
  OSStatus setCallback(const AURenderCallbackStruct& callback);
  OSStatus setDevice(const std::shared_ptr<Device>& device);  // ends following the default
  /// Moves to the present default output device, unless setDevice() chose one. Not inside a cycle.
  void followDefault();
  OSStatus setChannelMap(std::span<const SInt32> map);  // exactly one entry per device channel
  OSStatus reset();

  AudioStreamBasicDescription format() const;
  AURenderCallbackStruct callback() const;
  std::shared_ptr<Device> device() const;
  std::vector<SInt32> channelMap() const;

  void setGain(float gain) { m_gain.store(gain); }
  float gain() const { return m_gain.load(); }

  OSStatus start();
  void stop();
  void shutDown();  // stops permanently
  bool isRunning() const;

  bool play(const Cycle& cycle) TAVRO_NONBLOCKING override;
  void deviceChanged() override;

 private:
  UnitConfiguration configuration() const;
  template <class Change>
  OSStatus change(Change apply);
  static OSStatus offered(const UnitConfiguration& configuration);
  void exchange(UnitConfiguration& changed) TAVRO_REQUIRES(m_change);
  OSStatus moveTo(UnitConfiguration changed, bool plays) TAVRO_REQUIRES(m_change);
  void leaveDevice();
  void markStarted(bool started);
  bool isStarted() const;  // also if the device has ended meanwhile
  bool isShutDown() const;

  Tavro::RecursiveMutex<Tavro::LockRank::UnitChange> m_change;
  UnitConfiguration m_configuration TAVRO_GUARDED_BY(modelLock());
  bool m_started TAVRO_GUARDED_BY(modelLock()) = false;
  bool m_isShutDown TAVRO_GUARDED_BY(modelLock()) = false;
  CurrentRenderer m_renderer;       // guarded by the device's I/O lock
  std::atomic<float> m_gain{1.0F};  // read once per cycle
};

}  // namespace Platform
