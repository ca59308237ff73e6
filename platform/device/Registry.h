#pragma once

/// The system object: which devices there are and which is the default one. One a process, never
/// destroyed; at process exit the devices complete their work. All operations: [any-thread] unless
/// said otherwise.

#include <CoreAudio/CoreAudio.h>

#include <atomic>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "platform/device/Device.h"
#include "platform/device/OutputPolicy.h"

namespace Platform {

enum class Origin { Attached, Server };

class Registry {
 public:
  static Registry& instance();

  /// A living device of that identifier is answered instead. Of lost ones of that name the last is
  /// kept. One of the server's is the default only by the server's word. [host-thread]
  std::shared_ptr<Device> add(std::string identifier, std::string name,
                              std::unique_ptr<Driver> driver, Origin origin = Origin::Attached);

  /// Takes the device out of the model and ends it; it is not chosen any more. [host-thread], not
  /// inside a cycle of it
  void detach(const std::shared_ptr<Device>& device);
  /// The same for one that is gone by itself: if it was chosen it still is, should it come back.
  void remove(const std::shared_ptr<Device>& device);
  /// Ends devices that are gone and keeps them in the model, so that failure() can be asked. What
  /// played on them has moved before. [host-thread], not inside a cycle
  struct Loss {
    std::shared_ptr<Device> device;
    AudioDevices::Failure reason;
  };
  void lose(const std::vector<Loss>& losses, Change change);

  std::vector<std::shared_ptr<Device>> devices() const;  // in order of their ids, without lost ones
  std::shared_ptr<Device> device(AudioObjectID id) const;  // a lost one too
  std::shared_ptr<Device> device(const std::string& identifier) const;
  /// The device and the index of one of its streams; null: no such stream.
  std::pair<std::shared_ptr<Device>, std::size_t> stream(AudioObjectID id) const;

  /// What the default output is on; null: nothing. The rules are decide()'s.
  std::shared_ptr<Device> defaultDevice() const;
  bool choose(AudioObjectID id);            // false: no such device
  void setServerDefault(AudioObjectID id);  // kAudioObjectUnknown: it has none

  /// Something has happened that is not in the model itself. Tells listeners of `selector`, and
  /// answers what to do about it. [host-thread], not inside a cycle
  Action changed(Change change, const Device& device, AudioObjectPropertySelector selector);
  void serverBack();

  /// Sets what is called, with no lock held, whenever the default output may have changed.
  using DefaultFollower = void();
  void setDefaultFollower(DefaultFollower* follower) {
    m_follower.store(follower, std::memory_order_release);
  }

  void endAtExit();

 private:
  Registry() = default;
  std::shared_ptr<Device> make(std::string identifier, std::string name,
                               std::unique_ptr<Driver> driver);

  void defaultMayHaveChanged() const;

  // With modelLock() held
  std::vector<std::shared_ptr<Device>> forgetLost(const std::string& identifier);
  std::shared_ptr<Device> find(AudioObjectID id) const;
  std::shared_ptr<Device> living(const std::string& identifier) const;
  std::shared_ptr<Device> chosen() const;  // null: none, or missing
  std::shared_ptr<Device> fallback()
      const;  // without a choice: attached longest, else the server's
  Situation situation(Change change, const Device* device) const;
  Action apply(Change change, const Device* device);

  std::atomic<DefaultFollower*> m_follower = nullptr;

  // Guarded by modelLock()
  std::vector<std::shared_ptr<Device>> m_devices;
  std::set<AudioDeviceID> m_serverDevices;
  std::string m_chosen;  // identifier, as devices come back under it; empty: none
  AudioObjectID m_serverDefault = kAudioObjectUnknown;
  AudioObjectID m_output = kAudioObjectUnknown;  // what the default output is on
  AudioObjectID m_lastId = 31;
};

}  // namespace Platform
