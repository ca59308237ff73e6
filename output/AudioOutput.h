// SPDX-License-Identifier: MIT

#pragma once

#include "output/OutputBase.h"

namespace Tavro {

/// The generic audio output component: an OutputBase with one input port. It plays nothing by
/// itself; `T` derives from it and adds a device.
template <class T>
class AudioOutput : public OutputBase {
 public:
  class AudioPort;

  AudioOutput(PluginContext* context, const wchar_t* name, const char* type)
      : OutputBase(context, name, type) {
    setInputPort(nullptr);
  }

  PortInterface* connectInput(MediaType mediaType, const FormatDescriptor* format,
                              StreamSource* source) override;  // [host-thread]

 protected:
  virtual void setInputPort(AudioPort* /*port*/) {}
  virtual AudioPort* getInputPort() { return nullptr; }
};

/// The generic input port: the connection and the stream's properties. Owned by its component.
template <class T>
class AudioOutput<T>::AudioPort : public PortInterface {
 public:
  explicit AudioPort(T* owner) : m_owner(owner) {}

  /// Returns the channel limit of the settings for PortQuery::kMaximumChannels. [host-thread]
  bool readQuery(unsigned id, _Variant* value) override {
    if (id != PortQuery::kMaximumChannels || value == nullptr) {
      return false;
    }
    *value = {VariantType::kUInt32, m_owner->m_maxChannels};
    return true;
  }

  // Written under the owner's m_configLock; without it, the feeder and the render thread only
  // compare it with null.
  std::atomic<PortInterface*> m_peer{nullptr};
  const FormatDescriptor* m_format = nullptr;  // of the connection, borrowed [host-thread]
  AudioProperties m_properties;                // from the last write that changed them
  T* m_owner;
};

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
  m_feed.m_streamId = source->streamId();
  return m_connectedPort;
}

}  // namespace Tavro
