// SPDX-License-Identifier: MIT

#pragma once

#include <CoreAudio/CoreAudio.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace Check {

/// A channel layout as it is read and written; a record without descriptions has room for one.
inline std::vector<std::uint8_t> layoutRecord(
    AudioChannelLayoutTag tag, const std::vector<AudioChannelLabel>& described = {}) {
  constexpr std::size_t kHeader = offsetof(AudioChannelLayout, mChannelDescriptions);
  constexpr std::size_t kEach = sizeof(AudioChannelDescription);
  AudioChannelLayout layout{};
  layout.mChannelLayoutTag = tag;
  layout.mNumberChannelDescriptions = static_cast<UInt32>(described.size());
  std::vector<std::uint8_t> record(kHeader + std::max<std::size_t>(described.size(), 1) * kEach);
  std::memcpy(record.data(), &layout, kHeader);
  for (std::size_t i = 0; i < described.size(); ++i) {
    std::memcpy(&record[kHeader + i * kEach], &described[i], sizeof described[i]);
  }
  return record;
}

}  // namespace Check
