// SPDX-License-Identifier: MIT

#pragma once

/// The system object: adds devices to the list, ends them, and carries out what each event means
/// for the default output and for listeners. One per process, never destroyed; at process exit the
/// devices complete their work. Takes modelLock() for the list and the output, but not while it
/// ends a device or calls the follower. All operations: [any-thread] unless stated otherwise.

#include <CoreAudio/CoreAudio.h>

#include <atomic>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/device/Device.h"
#include "platform/device/ModelLock.h"
#include "platform/manager/DefaultOutput.h"
#include "platform/manager/DeviceList.h"
#include "platform/manager/RoutingPolicy.h"

namespace Platform {

class DeviceManager {
 public:
  static DeviceManager& instance();

  /// If a live device with this identifier exists, returns it instead. Of lost ones with it, keeps
  /// only the last. A server's device becomes the default only if the server says so. [host-thread]
  std::shared_ptr<Device> add(std::string identifier, std::string name,
                              std::unique_ptr<Driver> driver, Origin origin = Origin::Attached);

  /// Removes the device from the model and ends it; it is not chosen any more. [host-thread], not
  /// inside a cycle of it
  void detach(const std::shared_ptr<Device>& device);
  /// The same for a device that is gone by itself: a chosen one stays chosen, should it come back.
  void remove(const std::shared_ptr<Device>& device);
  /// Ends devices that are gone and keeps them in the model, so that failure() can be read. Clients
  /// of the default output move before. [host-thread], not inside a cycle
  struct Loss {
    std::shared_ptr<Device> device;
    AudioDevices::Failure reason;
  };
  void lose(const std::vector<Loss>& losses, DeviceEvent change);

  std::vector<std::shared_ptr<Device>> devices() const;  // in order of their ids, without lost ones
  std::shared_ptr<Device> device(AudioObjectID id) const;  // also a lost one
  std::shared_ptr<Device> device(const std::string& identifier) const;
  /// Returns the stream's device and its index there; null if there is no such stream.
  std::pair<std::shared_ptr<Device>, std::size_t> stream(AudioObjectID id) const;

  /// Returns the device of the default output, or null. decide() has the rules.
  std::shared_ptr<Device> defaultDevice() const;
  bool choose(AudioObjectID id);            // false if there is no such device
  void setServerDefault(AudioObjectID id);  // kAudioObjectUnknown if it has none

  /// Handles an event that is not in the model itself: notifies listeners of `selector`, and
  /// returns the action to take. [host-thread], not inside a cycle
  Action changed(DeviceEvent change, const Device& device, AudioObjectPropertySelector selector);
  void serverBack();

  /// Sets the function to call, with no lock held, whenever the default output may have changed.
  using DefaultFollower = void();
  void setDefaultFollower(DefaultFollower* follower) {
    m_follower.store(follower, std::memory_order_release);
  }

  void endAtExit();

 private:
  DeviceManager() = default;
  std::shared_ptr<Device> make(std::string identifier, std::string name,
                               std::unique_ptr<Driver> driver);

  void defaultMayHaveChanged() const;

  std::atomic<DefaultFollower*> m_follower = nullptr;

  DeviceList m_devices TAVRO_GUARDED_BY(modelLock());
  DefaultOutput m_output TAVRO_GUARDED_BY(modelLock()){m_devices};
};

}  // namespace Platform
