// SPDX-License-Identifier: MIT

#include "tavro_core/Session.h"

#include <algorithm>

#include "tavro_core/BufferPool.h"

namespace Tavro {

namespace {

auto isNamed(const Setting& setting) {
  return [&setting](const std::pair<Setting, _Variant>& entry) {
    return entry.first.mediaType == setting.mediaType && entry.first.group == setting.group &&
           entry.first.name == setting.name;
  };
}

}  // namespace

bool Session::getSetting(const Setting& setting, _Variant* out) {
  const Lock guard(m_lock);
  const auto entry = std::find_if(m_settings.begin(), m_settings.end(), isNamed(setting));
  if (entry == m_settings.end()) {
    return false;
  }
  *out = entry->second;
  return true;
}

void Session::setSetting(const Setting& setting, const _Variant& value) {
  std::vector<SettingConsumer*> consumers;
  {
    const Lock guard(m_lock);
    const auto entry = std::find_if(m_settings.begin(), m_settings.end(), isNamed(setting));
    if (entry != m_settings.end()) {
      entry->second = value;
    } else {
      m_settings.emplace_back(setting, value);
    }
    consumers = m_consumers;
  }
  for (SettingConsumer* consumer : consumers) {
    if (isRegistered(consumer)) {
      _Variant copy = value;
      consumer->settingChanged(setting, &copy);
    }
  }
}

void Session::reportBuffer(std::uint32_t, std::uint32_t state, MediaBuffer* buffer) {
  m_ledger.reported(static_cast<PooledBuffer&>(*buffer), state);
}

void Session::registerSettingConsumer(SettingConsumer* consumer) {
  const Lock guard(m_lock);
  m_consumers.push_back(consumer);
}

void Session::unregisterSettingConsumer(SettingConsumer* consumer) {
  const Lock guard(m_lock);
  std::erase(m_consumers, consumer);
}

bool Session::isRegistered(SettingConsumer* consumer) {
  const Lock guard(m_lock);
  return std::find(m_consumers.begin(), m_consumers.end(), consumer) != m_consumers.end();
}

}  // namespace Tavro
