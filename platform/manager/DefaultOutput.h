// SPDX-License-Identifier: MIT

#pragma once

#include <CoreAudio/CoreAudio.h>

#include <memory>
#include <string>

#include "platform/manager/DeviceList.h"
#include "platform/manager/RoutingPolicy.h"

namespace Platform {

/// The default output: which device a program chose, which one the server prefers, and which one it
/// is by the rules of decide(). Notifies listeners when it moves. Guarded by modelLock().
class DefaultOutput {
 public:
  /// The list outlives it.
  explicit DefaultOutput(const DeviceList& devices) : m_devices(devices) {}

  std::shared_ptr<Device> device() const;  // null if there is none

  void choose(const Device& device);
  void forgetChoice(const Device& device);  // no effect if another one is chosen
  /// Returns false if it was the same. kAudioObjectUnknown if the server has none.
  bool setServerDefault(AudioObjectID id);

  /// Moves the output as the event demands. `device`: null if the event is not about one. Returns
  /// the action, as some of them the caller must carry out.
  Action apply(DeviceEvent change, const Device* device);

 private:
  std::shared_ptr<Device> chosen() const;    // null if none or missing
  std::shared_ptr<Device> fallback() const;  // without a choice
  Situation situation(DeviceEvent change, const Device* device) const;
  void moveTo(const std::shared_ptr<Device>& target);

  const DeviceList& m_devices;
  std::string m_chosen;  // identifier, the same when a device comes back; empty if none
  AudioObjectID m_serverDefault = kAudioObjectUnknown;
  AudioObjectID m_output = kAudioObjectUnknown;
};

}  // namespace Platform
