// SPDX-License-Identifier: MIT

#pragma once

#include "Variant.h"

namespace Tavro {

/// One end of a connection between components. The identifiers are listed in Identifiers.h.
class PortInterface {
 public:
  PortInterface() = default;
  PortInterface(const PortInterface&) = delete;
  PortInterface& operator=(const PortInterface&) = delete;

  virtual ~PortInterface() = default;
  virtual bool checkEvent(unsigned id, _Variant* value) = 0;
  virtual bool sendEvent(unsigned id, _Variant* value) = 0;
  virtual bool readQuery(unsigned id, _Variant* value) = 0;
  virtual bool writeQuery(unsigned id, _Variant* value) = 0;
};

}  // namespace Tavro
