#include "Registry.h"

#include <algorithm>
#include <iterator>

namespace Platform {
namespace {

// A program that exits without detach() leaves complete files nevertheless.
struct ExitGuard {
  Registry* registry;
  ~ExitGuard() { registry->endAtExit(); }
};

}  // namespace

Registry& Registry::instance() {
  static auto* registry = new Registry;  // units may outlive every static's destructor
  static const ExitGuard guard{registry};
  return *registry;
}

std::shared_ptr<Device> Registry::make(std::string identifier, std::string name,
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

std::shared_ptr<Device> Registry::add(std::string identifier, std::string name,
                                      std::unique_ptr<Driver> driver) {
  auto device = make(std::move(identifier), std::move(name), std::move(driver));
  const std::lock_guard model(modelLock());
  m_devices.push_back(device);
  return device;
}

std::shared_ptr<Device> Registry::addServerDevice(std::string identifier, std::string name,
                                                  std::unique_ptr<Driver> driver) {
  auto device = make(std::move(identifier), std::move(name), std::move(driver));
  const std::lock_guard model(modelLock());
  m_serverDevices.insert(device->id());
  m_devices.push_back(device);
  return device;
}

void Registry::remove(const std::shared_ptr<Device>& device) {
  {
    const std::lock_guard model(modelLock());
    std::erase(m_devices, device);
    m_serverDevices.erase(device->id());
    if (m_chosenDefault == device->id()) {
      m_chosenDefault = kAudioObjectUnknown;
    }
  }
  device->end();
}

std::vector<std::shared_ptr<Device>> Registry::devices() const {
  const std::lock_guard model(modelLock());
  std::vector<std::shared_ptr<Device>> alive;
  std::ranges::copy_if(m_devices, std::back_inserter(alive), &Device::isAlive,
                       [](const auto& each) -> const Device& { return *each; });
  return alive;
}

std::shared_ptr<Device> Registry::device(AudioObjectID id) const {
  const std::lock_guard model(modelLock());
  const auto found = std::ranges::find(m_devices, id, [](const auto& each) { return each->id(); });
  return found == m_devices.end() ? nullptr : *found;
}

std::shared_ptr<Device> Registry::device(const std::string& identifier) const {
  const std::lock_guard model(modelLock());
  const auto found = std::ranges::find_if(m_devices, [&](const auto& each) {
    return each->isAlive() && each->identifier() == identifier;
  });
  return found == m_devices.end() ? nullptr : *found;
}

std::pair<std::shared_ptr<Device>, std::size_t> Registry::stream(AudioObjectID id) const {
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

std::shared_ptr<Device> Registry::defaultDevice() const {
  const std::lock_guard model(modelLock());
  const auto isDefault = [this](const std::shared_ptr<Device>& each) {
    if (m_chosenDefault != kAudioObjectUnknown) {
      return each->id() == m_chosenDefault;
    }
    return !m_serverDevices.contains(each->id());
  };
  auto found = std::ranges::find_if(m_devices, isDefault);
  if (found == m_devices.end()) {
    found =
        std::ranges::find(m_devices, m_serverDefault, [](const auto& each) { return each->id(); });
  }
  return found != m_devices.end() && (*found)->isAlive() ? *found : nullptr;
}

bool Registry::setDefaultDevice(AudioObjectID id) {
  const std::lock_guard model(modelLock());
  const bool known =
      std::ranges::any_of(m_devices, [id](const auto& each) { return each->id() == id; });
  if (known) {
    m_chosenDefault = id;
  }
  return known;
}

void Registry::setServerDefault(AudioObjectID id) {
  const std::lock_guard model(modelLock());
  m_serverDefault = id;
}

void Registry::endAtExit() {
  for (const auto& device : devices()) {
    device->endAtExit();
  }
}

}  // namespace Platform
