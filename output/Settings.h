#pragma once

#include "host/TavroCore.h"

namespace Tavro {

/// The settings that an audio output reads and hears of.

inline Setting audioSetting(const char* group, const char* name) {
  return Setting(MediaType::Audio, NarrowString(group, sharedAllocator<char>()),
                 NarrowString(name, sharedAllocator<char>()));
}

inline Setting volumeSetting() { return audioSetting("Output", "Volume"); }
inline Setting maximumChannelsSetting() { return audioSetting("Channels", "Maximum"); }

inline bool isSetting(const Setting& setting, const Setting& wanted) {
  return setting.mediaType == wanted.mediaType && setting.group == wanted.group &&
         setting.name == wanted.name;
}

/// A change of the volume with a value that can be used.
inline bool isVolume(const Setting& setting, const _Variant* value) {
  return value != nullptr && value->type == VariantType::kUInt8 &&
         isSetting(setting, volumeSetting());
}

inline bool isMaximumChannels(const Setting& setting, const _Variant* value) {
  return value != nullptr && value->type == VariantType::kUInt32 &&
         isSetting(setting, maximumChannelsSetting());
}

}  // namespace Tavro
