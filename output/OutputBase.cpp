// SPDX-License-Identifier: MIT

#include "output/OutputBase.h"

#include <algorithm>
#include <new>
#include <string>

#include "output/InterfaceIds.h"
#include "output/Settings.h"

namespace Tavro {
namespace {

constexpr char kNameKey[] = "Name";
constexpr char kTypeKey[] = "Type";
constexpr char kBitsPerSampleKey[] = "BitsPerSample";

constexpr std::uint32_t kPriority = 100;

template <class Pointer>
std::uintptr_t toWord(Pointer* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

}  // namespace

OutputBase::OutputBase(PluginContext* context, const wchar_t* name, const char* type)
    : Plugin(context), m_category(type, sharedAllocator<char>()) {
  m_info[kTypeKey].type = VariantType::kNarrowText;
  m_info[kTypeKey].value = toWord(&m_category);
  for (const char* key : {kNameKey, kBitsPerSampleKey}) {
    m_info[key].type = VariantType::kWideText;
    publish(key, keep(key == kNameKey ? name : L"0"));
  }
}

OutputBase::~OutputBase() { m_feed.clearQueue(); }

std::uint32_t OutputBase::queryInterface(const NarrowString& id, void** out) {
  *out = nullptr;
  if (id == kComponentInterfaceId) {
    *out = static_cast<ComponentInterface*>(this);
  } else if (id == kOutputInterfaceId) {
    *out = static_cast<OutputInterface*>(this);
  } else if (id == kOutputComponentId) {
    *out = static_cast<OutputComponent*>(this);
  } else {
    return InterfaceResult::kUnknown;
  }
  return InterfaceResult::kFound;
}

bool OutputBase::create(GraphSessionInterface* session) {
  Logger::instance()->log("Rendering", "create", 369, "Audio Output Creation");
  if (session == nullptr) {
    return false;
  }
  SessionClock* clock = session->getClock();
  m_feed.m_session = session;
  m_feed.m_clock = clock;
  clock->addTimeBase(this);
  session->registerSettingConsumer(this);

  _Variant limit{};
  if (session->getSetting(m_maximumChannelsSetting, &limit)) {
    m_maxChannels = static_cast<std::uint32_t>(limit.value);
  }
  return onCreate();
}

bool OutputBase::destroy() {
  Logger::instance()->log("Rendering", "destroy", 398, "Audio Output Destruction");
  onDestroy();
  m_feed.m_clock = nullptr;
  if (GraphSessionInterface* session = m_feed.m_session) {
    session->getClock()->removeTimeBase(this);
    session->unregisterSettingConsumer(this);
    m_feed.m_session = nullptr;
  }
  if (m_thread->get_id() != boost::this_thread::get_id()) {  // the feeder does not wait for itself
    m_feed.m_feederUsesSession.wait(true);
  }
  return true;
}

void OutputBase::settingChanged(const Setting& setting, _Variant* value) {
  if (isVolume(setting, value)) {
    setVolume(static_cast<std::uint8_t>(value->value));
  } else if (isMaximumChannels(setting, value)) {
    m_maxChannels = static_cast<std::uint32_t>(value->value);
  }
}

bool OutputBase::getInfoKeys(std::vector<const char*>* keys) try {
  keys->reserve(keys->size() + m_info.size());  // so that either all are added or none
  for (const auto& entry : m_info) {
    keys->push_back(entry.first);
  }
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

bool OutputBase::getInfo(const char* key, _Variant* out) {
  const auto entry = m_info.find(key);
  if (entry == m_info.end()) {
    return false;
  }
  // Pairs with the store in publish(): the text behind a pointer read here is complete.
  *out = {entry->second.type, entry->second.value.load(std::memory_order_acquire)};
  return true;
}

/// Hosts keep the pointers that getInfo() returned, so a text lives as long as the component; an
/// equal text is reused.
const WideString& OutputBase::keep(const wchar_t* text) {
  const WideString wanted(text, sharedAllocator<wchar_t>());
  auto kept = std::find(m_texts.begin(), m_texts.end(), wanted);
  if (kept == m_texts.end()) {
    kept = m_texts.insert(m_texts.end(), wanted);
  }
  return *kept;
}

void OutputBase::publish(const char* key, const WideString& text) {
  m_info.find(key)->second.value.store(toWord(&text), std::memory_order_release);
}

const WideString& OutputBase::bitsPerSampleText(std::uint32_t bits) {
  return keep(std::to_wstring(bits).c_str());
}

void OutputBase::publishBitsPerSample(const WideString& text) { publish(kBitsPerSampleKey, text); }

bool OutputBase::disconnectInput(PortInterface* port) {
  if (port != m_connectedPort) {
    return false;
  }
  m_connectedPort = nullptr;
  return true;
}

bool OutputBase::sendEvent(unsigned id, _Variant* /*value*/) {
  return id == ComponentEvent::kFirst || id == ComponentEvent::kSecond;
}

std::uint8_t OutputBase::getVolume() { return 0; }

bool OutputBase::setVolume(std::uint8_t /*volume*/) { return true; }

std::uint32_t OutputBase::timeBasePriority() { return kPriority; }

std::uint32_t OutputBase::currentTime() { return m_feed.currentTime(); }

bool OutputBase::isRunning() { return false; }

bool OutputBase::onCreate() { return true; }

void OutputBase::onDestroy() {}

}  // namespace Tavro
