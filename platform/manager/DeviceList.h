// SPDX-License-Identifier: MIT

#pragma once

#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/device/Device.h"

namespace Platform {

enum class Origin { Attached, Server };

/// The devices, in order of their ids. Lost ones stay, so that their failures and totals can be
/// read. Guarded by modelLock().
class DeviceList {
 public:
  AudioObjectID newId() { return ++m_lastId; }  // never used before

  void add(const std::shared_ptr<Device>& device, Origin origin);
  void remove(const std::shared_ptr<Device>& device);
  /// Removes all lost ones with this identifier but the last. Release them after the lock.
  std::vector<std::shared_ptr<Device>> forgetLost(const std::string& identifier);

  std::vector<std::shared_ptr<Device>> living() const;
  std::shared_ptr<Device> living(const std::string& identifier) const;
  std::shared_ptr<Device> longestAttached() const;       // living, and not of the server
  std::shared_ptr<Device> find(AudioObjectID id) const;  // also a lost one
  /// Returns the stream's device and its index there; null if there is no such stream.
  std::pair<std::shared_ptr<Device>, std::size_t> findStream(AudioObjectID id) const;

 private:
  std::vector<std::shared_ptr<Device>> m_devices;
  std::set<AudioDeviceID> m_serverDevices;
  AudioObjectID m_lastId = 31;
};

}  // namespace Platform
