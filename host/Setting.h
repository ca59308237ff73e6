// SPDX-License-Identifier: MIT

#pragma once

#include <string_view>

#include "MediaTypes.h"
#include "StandardAllocator.h"
#include "norvane_string.h"

namespace Tavro {

/// Name of a setting.
class Setting {
 public:
  // NOLINTNEXTLINE(performance-unnecessary-value-param): the texts cannot be moved
  Setting(MediaType type, NarrowString groupName, NarrowString settingName)
      : mediaType(type), group(groupName), name(settingName) {}
  ~Setting() = default;
  Setting(const Setting&) = default;
  Setting& operator=(const Setting&) = default;

  MediaType mediaType;
  NarrowString group;
  NarrowString name;
};

/// Name of a setting of audio outputs; both texts are literals.
struct SettingName {
  std::string_view group;
  std::string_view name;
};

inline constexpr SettingName kVolumeName = {"Output", "Volume"};  // kUInt8, percent, 0 to 100
inline constexpr SettingName kMaximumChannelsName = {"Channels", "Maximum"};  // kUInt32

inline Setting audioSetting(const SettingName& wanted) {
  return Setting(MediaType::Audio, NarrowString(wanted.group.data(), sharedAllocator<char>()),
                 NarrowString(wanted.name.data(), sharedAllocator<char>()));
}

}  // namespace Tavro
