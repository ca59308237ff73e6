// SPDX-License-Identifier: MIT

#pragma once

#include <string_view>

#include "host/TavroCore.h"

namespace Tavro {

/// Recognises changes of the settings that an audio output reads.

/// Returns true if `setting` is the wanted one and `value` has this type. Allocates nothing.
inline bool isChangeOf(const SettingName& wanted, std::uint8_t type, const Setting& setting,
                       const _Variant* value) {
  const auto equals = [](const NarrowString& text, std::string_view other) {
    return (text.m_data != nullptr ? std::string_view(text.m_data) : std::string_view()) == other;
  };
  return value != nullptr && value->type == type && setting.mediaType == MediaType::Audio &&
         equals(setting.group, wanted.group) && equals(setting.name, wanted.name);
}

inline bool isVolume(const Setting& setting, const _Variant* value) {
  return isChangeOf(kVolumeName, VariantType::kUInt8, setting, value);
}

inline bool isMaximumChannels(const Setting& setting, const _Variant* value) {
  return isChangeOf(kMaximumChannelsName, VariantType::kUInt32, setting, value);
}

}  // namespace Tavro
