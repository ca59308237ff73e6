// SPDX-License-Identifier: MIT

#pragma once

/// The output unit: the object behind an AudioUnit handle. It holds a configuration and, while it
/// is started, a renderer made from it.
///
/// Locks: m_change serialises starts, stops and changes and is taken before any of the device's;
/// from inside a cycle of the unit's own device, a stop does not take it and a change is refused.
/// The configuration is written under m_change and modelLock() and read under either; the device's
/// I/O lock guards the renderer.

#include <AudioUnit/AudioUnit.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "platform/device/Device.h"
#include "platform/format/PcmFormat.h"
#include "platform/unit/UnitRenderer.h"

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

  bool play(const Cycle& cycle) override;
  void deviceChanged() override;

 private:
  struct Configuration {
    PcmFormat format;
    AURenderCallbackStruct callback{};
    std::shared_ptr<Device> device;
    std::vector<SInt32> channelMap;  // identity unless of the device's channel count
    bool followsDefault = true;
  };
  struct Prepared {
    std::unique_ptr<UnitRenderer> renderer;
    std::uint64_t deviceGeneration;
  };
  Configuration configuration() const;
  template <class Change>
  OSStatus change(Change apply);
  static OSStatus offered(const Configuration& configuration);
  Prepared prepare(const Configuration& configuration) const;
  OSStatus rebuildRenderer(const Configuration& configuration);
  OSStatus moveTo(Configuration changed, bool plays);
  void refreshRendererFor(Device& device);
  void markStarted(bool started);
  bool isStarted() const;  // also if the device has ended meanwhile
  bool isShutDown() const;

  std::recursive_mutex m_change;
  Configuration m_configuration;
  bool m_started = false;     // guarded by modelLock()
  bool m_isShutDown = false;  // guarded by modelLock()
  // Guarded by the device's I/O lock
  std::unique_ptr<UnitRenderer> m_renderer;
  std::uint64_t m_renderedGeneration = 0;  // of the device, when it was made
  std::atomic<float> m_gain{1.0F};         // read once per cycle
};

/// Returns `map` if it has an entry per channel, otherwise the identity.
std::vector<SInt32> effectiveChannelMap(const std::vector<SInt32>& map, std::uint32_t channels);

}  // namespace Platform
