// SPDX-License-Identifier: MIT

#include "platform/device/DeviceManager.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "platform/device/ModelLock.h"
#include "platform/device/PropertyListeners.h"

namespace Platform {
namespace {

// A program that exits without detach() still leaves complete files.
struct ExitGuard {
  DeviceManager* registry;
  ~ExitGuard() { registry->endAtExit(); }
};

}  // namespace

DeviceManager& DeviceManager::instance() {
  static auto* registry = new DeviceManager;  // units may outlive every static's destructor
  static const ExitGuard guard{registry};
  return *registry;
}

std::shared_ptr<Device> DeviceManager::make(std::string identifier, std::string name,
                                            std::unique_ptr<Driver> driver) {
  std::vector<AudioStreamID> streamIds(driver->describe().streams.size());
  AudioDeviceID id = kAudioObjectUnknown;
  {
    const std::lock_guard model(modelLock());
    id = ++m_lastId;
    std::ranges::generate(streamIds, [this] { return ++m_lastId; });
  }
  return std::make_shared<Device>(id, std::move(streamIds), std::move(identifier), std::move(name),
                                  std::move(driver));
}

std::shared_ptr<Device> DeviceManager::add(std::string identifier, std::string name,
                                           std::unique_ptr<Driver> driver, Origin origin) {
  auto device = make(std::move(identifier), std::move(name), std::move(driver));
  std::vector<std::shared_ptr<Device>> forgotten;  // released after the lock
  {
    const std::lock_guard model(modelLock());
    if (const auto known = living(device->identifier())) {
      return known;
    }
    forgotten = forgetLost(device->identifier());
    if (origin == Origin::Server) {
      m_serverDevices.insert(device->id());
    }
    m_devices.push_back(device);
    apply(DeviceEvent::DeviceBack, device.get());
  }
  notifyListeners(kAudioObjectSystemObject, kAudioHardwarePropertyDevices);
  defaultMayHaveChanged();
  return device;
}

/// Keeps the last one, whose failure and totals may still be read.
std::vector<std::shared_ptr<Device>> DeviceManager::forgetLost(const std::string& identifier) {
  const auto isOne = [&](const auto& each) {
    return !each->isAlive() && each->identifier() == identifier;
  };
  std::vector<std::shared_ptr<Device>> forgotten;
  while (std::ranges::count_if(m_devices, isOne) > 1) {
    const auto first = std::ranges::find_if(m_devices, isOne);
    m_serverDevices.erase((*first)->id());
    forgotten.push_back(std::move(*first));
    m_devices.erase(first);
  }
  return forgotten;
}

void DeviceManager::detach(const std::shared_ptr<Device>& device) {
  {
    const std::lock_guard model(modelLock());
    if (m_chosen == device->identifier()) {
      m_chosen.clear();
    }
  }
  remove(device);
}

void DeviceManager::remove(const std::shared_ptr<Device>& device) {
  {
    const std::lock_guard model(modelLock());
    std::erase(m_devices, device);
    m_serverDevices.erase(device->id());
    apply(DeviceEvent::DeviceGone, device.get());
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
    const std::lock_guard model(modelLock());
    for (const Loss& loss : losses) {
      apply(change, loss.device.get());
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
  const std::lock_guard model(modelLock());
  std::vector<std::shared_ptr<Device>> alive;
  std::ranges::copy_if(m_devices, std::back_inserter(alive), &Device::isAlive,
                       [](const auto& each) -> const Device& { return *each; });
  return alive;
}

std::shared_ptr<Device> DeviceManager::device(AudioObjectID id) const {
  const std::lock_guard model(modelLock());
  return find(id);
}

std::shared_ptr<Device> DeviceManager::device(const std::string& identifier) const {
  const std::lock_guard model(modelLock());
  return living(identifier);
}

std::pair<std::shared_ptr<Device>, std::size_t> DeviceManager::stream(AudioObjectID id) const {
  const std::lock_guard model(modelLock());
  for (const auto& device : m_devices) {
    const auto& ids = device->streamIds();
    const auto found = std::ranges::find(ids, id);
    if (found != ids.end()) {
      return {device, static_cast<std::size_t>(found - ids.begin())};
    }
  }
  return {};
}

std::shared_ptr<Device> DeviceManager::defaultDevice() const {
  const std::lock_guard model(modelLock());
  const auto output = find(m_output);
  return output && output->isAlive() ? output : nullptr;
}

bool DeviceManager::choose(AudioObjectID id) {
  {
    const std::lock_guard model(modelLock());
    const auto device = find(id);
    if (!device) {
      return false;
    }
    m_chosen = device->identifier();
    apply(DeviceEvent::DeviceBack, device.get());
  }
  defaultMayHaveChanged();
  return true;
}

void DeviceManager::setServerDefault(AudioObjectID id) {
  {
    const std::lock_guard model(modelLock());
    if (std::exchange(m_serverDefault, id) == id) {
      return;
    }
    apply(DeviceEvent::DefaultChanged, nullptr);
  }
  defaultMayHaveChanged();
}

Action DeviceManager::changed(DeviceEvent change, const Device& device,
                              AudioObjectPropertySelector selector) {
  notifyListeners(device.id(), selector);
  const std::lock_guard model(modelLock());
  return apply(change, &device);
}

void DeviceManager::serverBack() {
  {
    const std::lock_guard model(modelLock());
    apply(DeviceEvent::ServerBack, nullptr);
  }
  notifyListeners(kAudioObjectSystemObject, kAudioHardwarePropertyServiceRestarted);
  defaultMayHaveChanged();
}

std::shared_ptr<Device> DeviceManager::find(AudioObjectID id) const {
  const auto found = std::ranges::find(m_devices, id, [](const auto& each) { return each->id(); });
  return found != m_devices.end() ? *found : nullptr;
}

std::shared_ptr<Device> DeviceManager::living(const std::string& identifier) const {
  const auto found = std::ranges::find_if(m_devices, [&](const auto& each) {
    return each->isAlive() && each->identifier() == identifier;
  });
  return found != m_devices.end() ? *found : nullptr;
}

std::shared_ptr<Device> DeviceManager::chosen() const { return living(m_chosen); }

std::shared_ptr<Device> DeviceManager::fallback() const {
  const auto attached = std::ranges::find_if(m_devices, [this](const auto& each) {
    return each->isAlive() && !m_serverDevices.contains(each->id());
  });
  if (attached != m_devices.end()) {
    return *attached;
  }
  const auto ofServer = find(m_serverDefault);
  return ofServer && ofServer->isAlive() ? ofServer : nullptr;
}

Situation DeviceManager::situation(DeviceEvent change, const Device* device) const {
  Situation now{.change = change,
                .subject = Subject::Another,
                .choice = Choice::None,
                .fallback = fallback() ? Fallback::There : Fallback::None};
  if (!m_chosen.empty()) {
    now.choice = chosen() ? Choice::There : Choice::Missing;
  }
  if (device != nullptr && device->identifier() == m_chosen && device->isAlive()) {
    now.subject = Subject::TheChosen;
  }
  if (device != nullptr && device->id() == m_output) {
    now.subject = Subject::ThePlaying;
  }
  return now;
}

/// Also returns actions that the caller must carry out.
Action DeviceManager::apply(DeviceEvent change, const Device* device) {
  const auto output = [&](const std::shared_ptr<Device>& target) {
    const AudioObjectID id = target ? target->id() : AudioObjectID{kAudioObjectUnknown};
    if (std::exchange(m_output, id) != id) {
      notifyListeners(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice);
    }
  };
  const Action action = decide(situation(change, device));
  switch (action) {
    case Action::PlayOnChosen:
      output(chosen());
      break;
    case Action::PlayOnDefault:
      output(fallback());
      break;
    case Action::Hold:
      output(nullptr);
      break;
    default:
      break;
  }
  return action;
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
