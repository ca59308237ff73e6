// SPDX-License-Identifier: MIT

#pragma once

#include <vector>

#include "FormatDescriptor.h"
#include "List.h"
#include "MediaTypes.h"
#include "StandardAllocator.h"
#include "Variant.h"

namespace Tavro {

class GraphSessionInterface;
class SettingsInterface;  // defined by the host

using FormatList = List<FormatDescriptor, StandardAllocator<Node<FormatDescriptor>>>;

/// Interface through which the graph drives a component. The default implementations return false;
/// a component overrides what it supports. [host-thread]
class ComponentInterface {
 public:
  ComponentInterface() = default;
  ComponentInterface(const ComponentInterface&) = delete;
  ComponentInterface& operator=(const ComponentInterface&) = delete;

  virtual ~ComponentInterface() = default;
  /// Called once, before the component is used. If it returns false, nothing was registered with
  /// the session.
  virtual bool create(GraphSessionInterface* session);

  /// Called once, before the component is destroyed. May wait until a worker thread of the
  /// component returns from the session's reportBuffer() or its clock's currentTime(), so the
  /// caller must hold no lock that these take; called from within such a call of the worker, it
  /// returns at once. It does not wait for the audio service's render call: the host must stop or
  /// disconnect the component before the session ends.
  virtual bool destroy();
  virtual bool sendEvent(unsigned id, _Variant* value);
  virtual bool checkEvent(unsigned id, _Variant* value);
  virtual bool readQuery(unsigned id, _Variant* value);
  virtual bool writeQuery(unsigned id, _Variant* value);

  /// Appends the formats that ports of the given kind accept or produce.
  virtual bool getSupportedFormats(SettingsInterface* settings, MediaType mediaType,
                                   DataModel dataModel, PortType portType, FormatList* out);

  /// Appends the keys of the information entries; they stay valid as long as the component.
  virtual bool getInfoKeys(std::vector<const char*>* keys) = 0;

  /// Copies an entry; the component keeps owning a string. Returns false and leaves `*out`
  /// unchanged if there is no such key.
  virtual bool getInfo(const char* key, _Variant* out) = 0;
};

}  // namespace Tavro
