// SPDX-License-Identifier: MIT

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <new>

#include "coreaudio/CoreAudioOutput.h"

// Queries before playback: the channel count of the default output device, and the formats that the
// component accepts.

namespace Tavro {
namespace {

constexpr std::uint32_t kDefaultChannels = 2;
constexpr std::uint32_t kMostChannels = 8;

struct LayoutChannels {
  AudioChannelLayoutTag tag;
  std::uint32_t channels;
};

// Mono and the output unit's own layouts. Any other tag counts as stereo.
constexpr std::array<LayoutChannels, 13> kLayouts = {{
    {kAudioChannelLayoutTag_Mono, 1},
    {kAudioChannelLayoutTag_AudioUnit_4, 4},
    {kAudioChannelLayoutTag_AudioUnit_5, 5},
    {kAudioChannelLayoutTag_AudioUnit_6, 6},
    {kAudioChannelLayoutTag_AudioUnit_8, 8},
    {kAudioChannelLayoutTag_AudioUnit_5_0, 5},
    {kAudioChannelLayoutTag_AudioUnit_5_1, 6},
    {kAudioChannelLayoutTag_AudioUnit_6_1, 7},
    {kAudioChannelLayoutTag_AudioUnit_7_1_Front, 8},
    {kAudioChannelLayoutTag_AudioUnit_7_1, 8},
    {kAudioChannelLayoutTag_AudioUnit_6_0, 6},
    {kAudioChannelLayoutTag_AudioUnit_7_0, 7},
    {kAudioChannelLayoutTag_AudioUnit_7_0_Front, 7},
}};

constexpr std::array<FormatDescriptor, 4> kSupportedFormats = {{
    {FormatCode::kFloat, 0, 0, 2, 10},
    {FormatCode::kBigEndian, 0, 0, 2, 20},
    {FormatCode::kRaw, 0, 0, 2, 20},
    {FormatCode::kInteger, 0, 0, 2, 20},
}};

/// Returns a 32-bit field of a record that may have been returned truncated; 0 beyond its end.
std::uint32_t fieldAt(const std::byte* record, UInt32 bytes, std::size_t offset) {
  std::uint32_t value = 0;
  if (offset + sizeof value <= bytes) {
    std::memcpy(&value, record + offset, sizeof value);
  }
  return value;
}

std::uint32_t countLabelled(const std::byte* layout, UInt32 bytes) {
  constexpr std::size_t kFirst = offsetof(AudioChannelLayout, mChannelDescriptions);
  const std::size_t held = bytes > kFirst ? (bytes - kFirst) / sizeof(AudioChannelDescription) : 0;
  const std::size_t told =
      fieldAt(layout, bytes, offsetof(AudioChannelLayout, mNumberChannelDescriptions));
  std::uint32_t count = 0;
  for (std::size_t i = 0; i < std::min(held, told); ++i) {
    const std::size_t label = kFirst + i * sizeof(AudioChannelDescription) +
                              offsetof(AudioChannelDescription, mChannelLabel);
    count += fieldAt(layout, bytes, label) != kAudioChannelLabel_Unused ? 1 : 0;
  }
  return count;
}

std::uint32_t channelsOfLayout(const std::byte* layout, UInt32 bytes) {
  if (bytes < sizeof(AudioChannelLayoutTag)) {
    return kDefaultChannels;
  }
  const AudioChannelLayoutTag tag = fieldAt(layout, bytes, 0);
  if (tag == kAudioChannelLayoutTag_UseChannelDescriptions) {
    return countLabelled(layout, bytes);
  }
  const auto known = std::find_if(kLayouts.begin(), kLayouts.end(),
                                  [tag](const LayoutChannels& row) { return row.tag == tag; });
  return known != kLayouts.end() ? known->channels : kDefaultChannels;
}

/// Appends all formats, or none if there is not enough memory.
bool appendAll(FormatList& formats) try {
  FormatList all(formats.m_allocator);
  for (const FormatDescriptor& format : kSupportedFormats) {
    all.append(format);
  }
  (formats.m_last != nullptr ? formats.m_last->next : formats.m_first) = all.m_first;
  formats.m_last = all.m_last;
  formats.m_count += all.m_count;
  all.m_first = nullptr;
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

}  // namespace

UInt32 CoreAudioOutput::readObjectProperty(AudioObjectID object,
                                           AudioObjectPropertySelector selector,
                                           AudioObjectPropertyScope scope, void** data) {
  const AudioObjectPropertyAddress address = {selector, scope, kAudioObjectPropertyElementMaster};
  UInt32 capacity = 0;
  if (AudioObjectGetPropertyDataSize(object, &address, 0, nullptr, &capacity) != noErr) {
    return 0;
  }
  *data = std::malloc(capacity);
  if (*data == nullptr) {
    return 0;
  }
  UInt32 bytes = capacity;
  const OSStatus status = AudioObjectGetPropertyData(object, &address, 0, nullptr, &bytes, *data);
  if (status != noErr || bytes == 0) {
    std::free(*data);
    *data = nullptr;
    return 0;
  }
  return std::min(bytes, capacity);
}

std::uint32_t CoreAudioOutput::maximumChannels() {
  std::uint32_t count = kDefaultChannels;
  void* device = nullptr;
  if (readObjectProperty(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice,
                         kAudioObjectPropertyScopeGlobal, &device) >= sizeof(AudioDeviceID)) {
    void* layout = nullptr;
    const UInt32 bytes = readObjectProperty(*static_cast<const AudioDeviceID*>(device),
                                            kAudioDevicePropertyPreferredChannelLayout,
                                            kAudioDevicePropertyScopeOutput, &layout);
    if (bytes != 0) {
      count = channelsOfLayout(static_cast<const std::byte*>(layout), bytes);
    }
    std::free(layout);
  }
  std::free(device);
  return std::min(count, kMostChannels);
}

bool CoreAudioOutput::getSupportedFormats(SettingsInterface* /*settings*/, MediaType mediaType,
                                          DataModel dataModel, PortType portType,
                                          FormatList* formats) {
  if (portType != PortType::Input || dataModel != DataModel::Stream ||
      mediaType != MediaType::Audio) {
    return false;
  }
  return appendAll(*formats);
}

}  // namespace Tavro
