#pragma once

#include "ComponentInterface.h"
#include "FormatDescriptor.h"
#include "GraphSession.h"
#include "PortInterface.h"

namespace Tavro {

/// The facet through which the graph attaches an upstream stream to an output. [host-thread]
class OutputInterface {
 public:
  OutputInterface() = default;
  OutputInterface(const OutputInterface&) = delete;
  OutputInterface& operator=(const OutputInterface&) = delete;

  virtual ~OutputInterface() = default;

  /// The port to send the stream to, still the component's own; null when it cannot be taken.
  /// `format` is borrowed until the port's disconnect event.
  virtual PortInterface* connectInput(MediaType mediaType, const FormatDescriptor* format,
                                      StreamSource* source) = 0;

  /// Gives up the port that connectInput() answered.
  virtual bool disconnectInput(PortInterface* port) = 0;
};

/// Base of output components.
class OutputComponent : public virtual ComponentInterface, public virtual OutputInterface {};

}  // namespace Tavro
