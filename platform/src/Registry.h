#pragma once

/// The system object: which devices there are and which is the default one. One a process, never
/// destroyed; at process exit the devices complete their work. All operations: [any-thread] unless
/// said otherwise.

#include <CoreAudio/CoreAudio.h>

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Device.h"

namespace Platform {

class Registry {
 public:
  static Registry& instance();

  /// Under an identifier that no device has. [host-thread]
  std::shared_ptr<Device> add(std::string identifier, std::string name,
                              std::unique_ptr<Driver> driver);
  /// The same for one that the sound server has, and which is the default only by the server's
  /// word.
  std::shared_ptr<Device> addServerDevice(std::string identifier, std::string name,
                                          std::unique_ptr<Driver> driver);
  /// Takes the device out of the model and ends it. [host-thread], not inside a cycle of it
  void remove(const std::shared_ptr<Device>& device);

  std::vector<std::shared_ptr<Device>> devices() const;  // in order of their ids, without lost ones
  std::shared_ptr<Device> device(AudioObjectID id) const;  // a lost one too
  std::shared_ptr<Device> device(const std::string& identifier) const;
  /// The device and the index of one of its streams; null: no such stream.
  std::pair<std::shared_ptr<Device>, std::size_t> stream(AudioObjectID id) const;

  /// The device that was chosen, until it is removed; else the one attached longest; else the sound
  /// server's default. Null: none, or the chosen one is lost.
  std::shared_ptr<Device> defaultDevice() const;
  bool setDefaultDevice(AudioObjectID id);  // false: no such device
  void setServerDefault(AudioObjectID id);  // kAudioObjectUnknown: it has none

  void endAtExit();

 private:
  Registry() = default;
  std::shared_ptr<Device> make(std::string identifier, std::string name,
                               std::unique_ptr<Driver> driver);

  // Guarded by modelLock()
  std::vector<std::shared_ptr<Device>> m_devices;
  std::set<AudioDeviceID> m_serverDevices;
  AudioObjectID m_chosenDefault = kAudioObjectUnknown;
  AudioObjectID m_serverDefault = kAudioObjectUnknown;
  AudioObjectID m_lastId = 31;
};

}  // namespace Platform
