// SPDX-License-Identifier: MIT

#include "platform/manager/DeviceList.h"

#include <algorithm>
#include <iterator>

namespace Platform {

void DeviceList::add(const std::shared_ptr<Device>& device, Origin origin) {
  if (origin == Origin::Server) {
    m_serverDevices.insert(device->id());
  }
  m_devices.push_back(device);
}

void DeviceList::remove(const std::shared_ptr<Device>& device) {
  std::erase(m_devices, device);
  m_serverDevices.erase(device->id());
}

std::vector<std::shared_ptr<Device>> DeviceList::forgetLost(const std::string& identifier) {
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

std::vector<std::shared_ptr<Device>> DeviceList::living() const {
  std::vector<std::shared_ptr<Device>> alive;
  std::ranges::copy_if(m_devices, std::back_inserter(alive), &Device::isAlive,
                       [](const auto& each) -> const Device& { return *each; });
  return alive;
}

std::shared_ptr<Device> DeviceList::living(const std::string& identifier) const {
  const auto found = std::ranges::find_if(m_devices, [&](const auto& each) {
    return each->isAlive() && each->identifier() == identifier;
  });
  return found != m_devices.end() ? *found : nullptr;
}

std::shared_ptr<Device> DeviceList::longestAttached() const {
  const auto found = std::ranges::find_if(m_devices, [this](const auto& each) {
    return each->isAlive() && !m_serverDevices.contains(each->id());
  });
  return found != m_devices.end() ? *found : nullptr;
}

std::shared_ptr<Device> DeviceList::find(AudioObjectID id) const {
  const auto found = std::ranges::find(m_devices, id, [](const auto& each) { return each->id(); });
  return found != m_devices.end() ? *found : nullptr;
}

std::pair<std::shared_ptr<Device>, std::size_t> DeviceList::findStream(AudioObjectID id) const {
  for (const auto& device : m_devices) {
    const auto& ids = device->streamIds();
    const auto found = std::ranges::find(ids, id);
    if (found != ids.end()) {
      return {device, static_cast<std::size_t>(found - ids.begin())};
    }
  }
  return {};
}

}  // namespace Platform
