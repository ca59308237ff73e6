#include "output/AudioOutput.h"

#include <algorithm>
#include <new>
#include <string>

#include "coreaudio/CoreAudioOutput.h"
#include "output/Settings.h"
#include "plugin/InterfaceIds.h"

namespace Tavro {
namespace {

constexpr char kNameKey[] = "Name";
constexpr char kTypeKey[] = "Type";
constexpr char kBitsPerSampleKey[] = "BitsPerSample";

template <class Pointer>
std::uintptr_t toWord(Pointer* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

}  // namespace

template <class T>
AudioOutput<T>::AudioOutput(PluginContext* context, const wchar_t* name, const char* type)
    : Plugin(context), m_category(type, sharedAllocator<char>()) {
  setInputPort(nullptr);
  m_info[kTypeKey].type = VariantType::kNarrowText;
  m_info[kTypeKey].value = toWord(&m_category);
  for (const char* key : {kNameKey, kBitsPerSampleKey}) {
    m_info[key].type = VariantType::kWideText;
    publish(key, keep(key == kNameKey ? name : L"0"));
  }
}

template <class T>
AudioOutput<T>::~AudioOutput() {
  clearQueue();
}

template <class T>
std::uint32_t AudioOutput<T>::queryInterface(const NarrowString& id, void** out) {
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

template <class T>
bool AudioOutput<T>::create(GraphSessionInterface* session) {
  Logger::instance()->log("Rendering", "create", 369, "Audio Output Creation");
  if (session == nullptr) {
    return false;
  }
  SessionClock* clock = session->getClock();
  m_session = session;
  m_clock = clock;
  clock->addTimeBase(this);
  session->registerSettingConsumer(this);

  _Variant limit{};
  if (session->getSetting(m_maximumChannelsSetting, &limit)) {
    m_maxChannels = static_cast<std::uint32_t>(limit.value);
  }
  return onCreate();
}

template <class T>
bool AudioOutput<T>::destroy() {
  Logger::instance()->log("Rendering", "destroy", 398, "Audio Output Destruction");
  onDestroy();
  m_clock = nullptr;
  if (GraphSessionInterface* session = m_session) {
    session->getClock()->removeTimeBase(this);
    session->unregisterSettingConsumer(this);
    m_session = nullptr;
  }
  if (m_thread->get_id() != boost::this_thread::get_id()) {  // not from within a report of its own
    m_feederUsesSession.wait(true);
  }
  return true;
}

template <class T>
void AudioOutput<T>::settingChanged(const Setting& setting, _Variant* value) {
  if (isVolume(setting, value)) {
    setVolume(static_cast<std::uint8_t>(value->value));
  } else if (isMaximumChannels(setting, value)) {
    m_maxChannels = static_cast<std::uint32_t>(value->value);
  }
}

template <class T>
bool AudioOutput<T>::getInfoKeys(std::vector<const char*>* keys) try {
  keys->reserve(keys->size() + m_info.size());  // so that all of them are added, or none
  for (const auto& entry : m_info) {
    keys->push_back(entry.first);
  }
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

template <class T>
bool AudioOutput<T>::getInfo(const char* key, _Variant* out) {
  const auto entry = m_info.find(key);
  if (entry == m_info.end()) {
    return false;
  }
  // Pairs with the store in publish(): the text behind a pointer read here is complete.
  *out = {entry->second.type, entry->second.value.load(std::memory_order_acquire)};
  return true;
}

/// Hosts keep the pointers that getInfo() gave them, so a text is kept for the component's life,
/// and used again when the same one is due.
template <class T>
const WideString& AudioOutput<T>::keep(const wchar_t* text) {
  const WideString wanted(text, sharedAllocator<wchar_t>());
  auto kept = std::find(m_texts.begin(), m_texts.end(), wanted);
  if (kept == m_texts.end()) {
    kept = m_texts.insert(m_texts.end(), wanted);
  }
  return *kept;
}

template <class T>
void AudioOutput<T>::publish(const char* key, const WideString& text) {
  m_info.find(key)->second.value.store(toWord(&text), std::memory_order_release);
}

template <class T>
const WideString& AudioOutput<T>::bitsPerSampleText(std::uint32_t bits) {
  return keep(std::to_wstring(bits).c_str());
}

template <class T>
void AudioOutput<T>::publishBitsPerSample(const WideString& text) {
  publish(kBitsPerSampleKey, text);
}

template <class T>
PortInterface* AudioOutput<T>::connectInput(MediaType mediaType, const FormatDescriptor* format,
                                            StreamSource* source) {
  if (format->dataModel != static_cast<std::uint32_t>(DataModel::Stream) ||
      mediaType != MediaType::Audio || m_connectedPort != nullptr) {
    return nullptr;
  }
  AudioPort* port = getInputPort();
  if (port != nullptr) {
    port->m_format = format;
  }
  m_connectedPort = port;
  m_streamId = source->streamId();
  return m_connectedPort;
}

template <class T>
bool AudioOutput<T>::disconnectInput(PortInterface* port) {
  if (port != m_connectedPort) {
    return false;
  }
  m_connectedPort = nullptr;
  return true;
}

template <class T>
bool AudioOutput<T>::sendEvent(unsigned id, _Variant* /*value*/) {
  return id == ComponentEvent::kFirst || id == ComponentEvent::kSecond;
}

template <class T>
std::uint8_t AudioOutput<T>::getVolume() {
  return 0;
}

template <class T>
bool AudioOutput<T>::setVolume(std::uint8_t /*volume*/) {
  return true;
}

template <class T>
bool AudioOutput<T>::isRunning() {
  return false;
}

template <class T>
bool AudioOutput<T>::onCreate() {
  return true;
}

template <class T>
void AudioOutput<T>::onDestroy() {}

template <class T>
void AudioOutput<T>::setInputPort(AudioPort* /*port*/) {}

template <class T>
typename AudioOutput<T>::AudioPort* AudioOutput<T>::getInputPort() {
  return nullptr;
}

/// Outside a session time has not begun.
template <class T>
std::uint32_t AudioOutput<T>::graphTime() const {
  SessionClock* clock = m_clock;
  return clock != nullptr ? clock->currentTime() : 0;
}

template <class T>
void AudioOutput<T>::reportBuffer(std::uint32_t streamId, std::uint32_t state,
                                  MediaBuffer* buffer) {
  if (GraphSessionInterface* session = m_session) {
    session->reportBuffer(streamId, state, buffer);
  }
}

template <class T>
bool AudioOutput<T>::AudioPort::readQuery(unsigned id, _Variant* value) {
  if (id != PortQuery::kMaximumChannels || value == nullptr) {
    return false;
  }
  *value = {VariantType::kUInt32, m_owner->m_maxChannels};
  return true;
}

template class AudioOutput<CoreAudioOutput>;

}  // namespace Tavro
