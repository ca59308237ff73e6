// SPDX-License-Identifier: MIT

#include "platform/manager/DeviceManager.h"

#include <utility>

#include "platform/manager/PropertyListeners.h"
#include "platform/manager/StallMonitor.h"

namespace Platform {
namespace {

// A program that exits without detach() still leaves complete files.
struct ExitGuard {
  DeviceManager* manager;
  ~ExitGuard() { manager->endAtExit(); }
};

}  // namespace

DeviceManager& DeviceManager::instance() {
  static auto* manager = new DeviceManager;  // units may outlive every static's destructor
  static const ExitGuard guard{manager};
  return *manager;
}

std::shared_ptr<Device> DeviceManager::make(std::string identifier, std::string name,
                                            std::unique_ptr<Driver> driver) {
  std::vector<AudioStreamID> streamIds(driver->describe().streams.size());
  AudioDeviceID id = kAudioObjectUnknown;
  {
    const Tavro::Lock model(modelLock());
    id = m_devices.newId();
    for (AudioStreamID& each : streamIds) {
      each = m_devices.newId();
    }
  }
  return std::make_shared<Device>(id, std::move(streamIds), std::move(identifier), std::move(name),
                                  std::move(driver));
}

std::shared_ptr<Device> DeviceManager::add(std::string identifier, std::string name,
                                           std::unique_ptr<Driver> driver, Origin origin) {
  if (driver->isSounding()) {
    watchCycles();
  }
  auto device = make(std::move(identifier), std::move(name), std::move(driver));
  std::vector<std::shared_ptr<Device>> forgotten;  // released after the lock
  {
    const Tavro::Lock model(modelLock());
    if (const auto known = m_devices.living(device->identifier())) {
      return known;
    }
    forgotten = m_devices.forgetLost(device->identifier());
    m_devices.add(device, origin);
    m_output.apply(DeviceEvent::DeviceBack, device.get());
  }
  notifyListeners(kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
  defaultMayHaveChanged();
  return device;
}

void DeviceManager::detach(const std::shared_ptr<Device>& device) {
  {
    const Tavro::Lock model(modelLock());
    m_output.forgetChoice(*device);
  }
  remove(device);
}

void DeviceManager::remove(const std::shared_ptr<Device>& device) {
  {
    const Tavro::Lock model(modelLock());
    m_devices.remove(device);
    m_output.apply(DeviceEvent::DeviceGone, device.get());
  }
  notifyListeners(kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
  defaultMayHaveChanged();
  device->end();
}

void DeviceManager::lose(const std::vector<Loss>& losses, DeviceEvent change) {
  if (losses.empty()) {
    return;
  }
  for (const Loss& loss : losses) {
    loss.device->life().markLost(loss.reason);
  }
  {
    const Tavro::Lock model(modelLock());
    for (const Loss& loss : losses) {
      m_output.apply(change, loss.device.get());
    }
  }
  defaultMayHaveChanged();
  for (const Loss& loss : losses) {
    notifyListeners(loss.device->id(), kAudioDevicePropertyDeviceIsAlive);
    loss.device->end();
  }
  notifyListeners(kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
}

std::vector<std::shared_ptr<Device>> DeviceManager::devices() const {
  const Tavro::Lock model(modelLock());
  return m_devices.living();
}

std::shared_ptr<Device> DeviceManager::device(AudioObjectID id) const {
  const Tavro::Lock model(modelLock());
  return m_devices.find(id);
}

std::shared_ptr<Device> DeviceManager::device(const std::string& identifier) const {
  const Tavro::Lock model(modelLock());
  return m_devices.living(identifier);
}

std::pair<std::shared_ptr<Device>, std::size_t> DeviceManager::stream(AudioObjectID id) const {
  const Tavro::Lock model(modelLock());
  return m_devices.findStream(id);
}

std::shared_ptr<Device> DeviceManager::defaultDevice() const {
  const Tavro::Lock model(modelLock());
  return m_output.device();
}

bool DeviceManager::choose(AudioObjectID id) {
  {
    const Tavro::Lock model(modelLock());
    const auto device = m_devices.find(id);
    if (!device) {
      return false;
    }
    m_output.choose(*device);
  }
  defaultMayHaveChanged();
  return true;
}

void DeviceManager::setServerDefault(AudioObjectID id) {
  {
    const Tavro::Lock model(modelLock());
    if (!m_output.setServerDefault(id)) {
      return;
    }
  }
  defaultMayHaveChanged();
}

Action DeviceManager::changed(DeviceEvent change, const Device& device,
                              AudioObjectPropertySelector selector) {
  notifyListeners(device.id(), selector);
  const Tavro::Lock model(modelLock());
  return m_output.apply(change, &device);
}

void DeviceManager::serverBack() {
  {
    const Tavro::Lock model(modelLock());
    m_output.apply(DeviceEvent::ServerBack, nullptr);
  }
  notifyListeners(kAudioObjectSystemObject, kAudioHardwarePropertyServiceRestarted);
  defaultMayHaveChanged();
}

void DeviceManager::defaultMayHaveChanged() const {
  if (DefaultFollower* const follow = m_follower.load(std::memory_order_acquire)) {
    follow();
  }
}

void DeviceManager::endAtExit() {
  for (const auto& device : devices()) {
    device->endAtExit();
  }
}

}  // namespace Platform
