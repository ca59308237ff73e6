// SPDX-License-Identifier: MIT

#include <AudioDevices/ScriptedDevice.h>

#include <memory>
#include <stdexcept>

#include "platform/drivers/scripted/ScriptedDriver.h"
#include "platform/iec61937/BurstFormat.h"
#include "platform/manager/DeviceManager.h"
#include "time/HostTime.h"

namespace AudioDevices {

ScriptedDevice::ScriptedDevice(const ScriptedSetup& setup) {
  auto driver = std::make_unique<Platform::ScriptedDriver>(setup);
  m_driver = driver.get();
  const std::string identifier = "scripted:" + setup.name;
  if (Platform::DeviceManager::instance().device(identifier)) {
    throw std::invalid_argument("a device '" + identifier + "' is there already");
  }
  m_device = Platform::DeviceManager::instance().add(identifier, setup.name, std::move(driver));
}

ScriptedDevice::~ScriptedDevice() {
  if (!m_device->inCycle()) {
    Platform::DeviceManager::instance().remove(m_device);
  }
}

AudioDeviceID ScriptedDevice::id() const { return m_device->id(); }

AudioStreamID ScriptedDevice::stream(std::size_t index) const {
  return m_device->streamIds().at(index);
}

void ScriptedDevice::makeDefault() { Platform::DeviceManager::instance().choose(id()); }

ScriptedDevice::Cycle ScriptedDevice::cycle(std::uint32_t frames) {
  const Tavro::Lock lock(m_driver->handLock());
  const bool played = m_device->cycles().cycle(frames, Tavro::HostTime::now()) != 0;
  return played ? m_driver->lastCycle() : Cycle{};
}

std::vector<std::uint8_t> ScriptedDevice::captured(std::size_t stream) const {
  return m_driver->captured(stream);
}

void ScriptedDevice::setBufferBytes(std::size_t stream, std::optional<std::uint32_t> bytes) {
  m_device->change([&](bool) {
    m_driver->setBufferBytes(stream, bytes);
    return noErr;
  });
}

void ScriptedDevice::setBufferWithoutMemory(std::size_t stream, bool withoutMemory) {
  m_device->change([&](bool) {
    m_driver->setBufferWithoutMemory(stream, withoutMemory);
    return noErr;
  });
}

void ScriptedDevice::disappear() {
  if (m_device->inCycle()) {
    throw std::logic_error("a device cannot disappear inside its own cycle");
  }
  Platform::DeviceManager::instance().remove(m_device);
}

}  // namespace AudioDevices
