// SPDX-License-Identifier: MIT

#pragma once

#include "ComponentInterface.h"
#include "FormatDescriptor.h"
#include "GraphSession.h"
#include "PortInterface.h"

namespace Tavro {

/// Interface through which the graph connects an upstream stream to an output. [host-thread]
class OutputInterface {
 public:
  OutputInterface() = default;
  OutputInterface(const OutputInterface&) = delete;
  OutputInterface& operator=(const OutputInterface&) = delete;

  virtual ~OutputInterface() = default;

  /// Returns the port to send the stream to, which the component keeps owning, or null if it
  /// cannot take the stream. `format` is borrowed until the port's disconnect event.
  virtual PortInterface* connectInput(MediaType mediaType, const FormatDescriptor* format,
                                      StreamSource* source) = 0;

  /// Releases the port that connectInput() returned.
  virtual bool disconnectInput(PortInterface* port) = 0;
};

/// Base of output components.
class OutputComponent : public virtual ComponentInterface, public virtual OutputInterface {};

}  // namespace Tavro
