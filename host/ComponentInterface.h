#pragma once

#include <vector>

#include "FormatDescriptor.h"
#include "List.h"
#include "MediaTypes.h"
#include "StandardAllocator.h"
#include "Variant.h"

namespace Tavro {

class GraphSessionInterface;
class SettingsInterface;  // the host's own

using FormatList = List<FormatDescriptor, StandardAllocator<Node<FormatDescriptor>>>;

/// The facet of a component that the graph drives. The bodies here answer false; a component
/// overrides what it supports. [host-thread]
class ComponentInterface {
 public:
  ComponentInterface() = default;
  ComponentInterface(const ComponentInterface&) = delete;
  ComponentInterface& operator=(const ComponentInterface&) = delete;

  virtual ~ComponentInterface() = default;
  /// Once, before the component is used. False: nothing was registered with the session.
  virtual bool create(GraphSessionInterface* session);

  /// Once, before the component is destroyed. May wait for a call of the session's reportBuffer()
  /// or its clock's currentTime() that a worker thread of the component is in, so the caller holds
  /// no lock that these take; from within such a call of the worker it returns at once. It does not
  /// wait for the audio service's render call: the host stops or disconnects the component before
  /// the session ends.
  virtual bool destroy();
  virtual bool sendEvent(unsigned id, _Variant* value);
  virtual bool checkEvent(unsigned id, _Variant* value);
  virtual bool readQuery(unsigned id, _Variant* value);
  virtual bool writeQuery(unsigned id, _Variant* value);

  /// Appends the formats that ports of the given kind take or give.
  virtual bool getSupportedFormats(SettingsInterface* settings, MediaType mediaType,
                                   DataModel dataModel, PortType portType, FormatList* out);

  /// Appends the keys of the information entries; they live as long as the component.
  virtual bool getInfoKeys(std::vector<const char*>* keys) = 0;

  /// Copies an entry; a string stays the component's own. False, `*out` untouched: no such key.
  virtual bool getInfo(const char* key, _Variant* out) = 0;
};

}  // namespace Tavro
