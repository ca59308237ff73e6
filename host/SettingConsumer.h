// SPDX-License-Identifier: MIT

#pragma once

#include "Setting.h"
#include "Variant.h"

namespace Tavro {

/// Is notified of setting changes while registered with a session. [host-thread]
class SettingConsumer {
 public:
  virtual ~SettingConsumer() = default;
  virtual void settingChanged(const Setting& setting, _Variant* value) = 0;
};

}  // namespace Tavro
