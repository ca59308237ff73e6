// SPDX-License-Identifier: MIT

#pragma once

#include "MediaTypes.h"
#include "norvane_string.h"

namespace Tavro {

/// Name of a setting. Audio uses "Output" / "Volume" (kUInt8, percent, 0 to 100) and "Channels" /
/// "Maximum" (kUInt32).
class Setting {
 public:
  Setting(MediaType type, NarrowString groupName, NarrowString settingName)
      : mediaType(type), group(groupName), name(settingName) {}
  ~Setting() = default;
  Setting(const Setting&) = default;
  Setting& operator=(const Setting&) = default;

  MediaType mediaType;
  NarrowString group;
  NarrowString name;
};

}  // namespace Tavro
