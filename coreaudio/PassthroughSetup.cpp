// SPDX-License-Identifier: MIT

#include <algorithm>
#include <array>

#include "coreaudio/Block.h"
#include "coreaudio/CoreAudioOutput.h"
#include "feed/Callbacks.h"

// The passthrough path: switches a stream of the default output device to a matching AC-3 format,
// and starts an I/O procedure of this component on the device. Set up on the host's thread, with
// m_configLock held by the configuration.

namespace Tavro {
namespace {

constexpr OSStatus kFormatError = 0x666D743F;  // 'fmt?'

constexpr std::array<AudioFormatID, 4> kAc3Formats = {
    0x49414333,  // 'IAC3'
    0x69616333,  // 'iac3'
    kAudioFormat60958AC3,
    kAudioFormatAC3,
};

/// The elements of a property whose value is an array.
template <class Element>
struct PropertyArray {
  Block<void> block;
  UInt32 count = 0;
  const Element* begin() const { return static_cast<const Element*>(block.get()); }
  const Element* end() const { return begin() + count; }
};

template <class Element>
PropertyArray<Element> toArray(void* block, UInt32 bytes) {
  return {Block<void>(block), static_cast<UInt32>(bytes / sizeof(Element))};
}

bool matches(const AudioStreamBasicDescription& format, const AudioProperties& properties) {
  return std::find(kAc3Formats.begin(), kAc3Formats.end(), format.mFormatID) != kAc3Formats.end() &&
         format.mSampleRate == static_cast<Float64>(properties.m_sampleRate) &&
         format.mChannelsPerFrame == properties.m_channels;
}

}  // namespace

/// After a failure the stream keeps the format it was switched to; only the procedure is removed.
OSStatus CoreAudioOutput::startPassthrough() {
  if (!selectPhysicalFormat()) {
    return kFormatError;
  }
  savePhysicalFormat();
  if (setPhysicalFormat(m_streamFormat) != noErr ||
      AudioDeviceCreateIOProcID(m_deviceId, onDeviceCycle, this, &m_ioProcId) != noErr) {
    return kFormatError;
  }
  if (AudioDeviceStart(m_deviceId, m_ioProcId) != noErr) {
    AudioDeviceDestroyIOProcID(m_deviceId, m_ioProcId);
    return kFormatError;
  }
  m_passthroughActive = true;
  return noErr;
}

OSStatus CoreAudioOutput::onDeviceCycle(AudioObjectID /*device*/, const AudioTimeStamp* /*now*/,
                                        const AudioBufferList* /*input*/,
                                        const AudioTimeStamp* /*inputTime*/,
                                        AudioBufferList* output,
                                        const AudioTimeStamp* /*outputTime*/, void* self) {
  if (self != nullptr) {
    auto& owner = *static_cast<CoreAudioOutput*>(self);
    renderPassthrough(owner.m_feed, owner.m_outputStreamIndex, output);
  }
  return noErr;
}

/// Selects the first stream, in the device's order, that offers a matching format, and its first
/// such format. Returns false and changes nothing if there is none.
bool CoreAudioOutput::selectPhysicalFormat() {
  void* block = nullptr;
  UInt32 bytes =
      readObjectProperty(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice,
                         kAudioObjectPropertyScopeGlobal, &block);
  const auto devices = toArray<AudioDeviceID>(block, bytes);
  if (devices.count == 0) {
    return false;
  }
  const AudioDeviceID device = *devices.begin();

  block = nullptr;
  bytes = readObjectProperty(device, kAudioDevicePropertyStreams, kAudioDevicePropertyScopeOutput,
                             &block);
  const auto streams = toArray<AudioStreamID>(block, bytes);
  for (UInt32 index = 0; index < streams.count; ++index) {
    const AudioStreamID stream = streams.begin()[index];
    if (selectFormatOfStream(stream)) {
      m_outputStreamId = stream;
      m_outputStreamIndex = index;
      m_deviceId = device;
      return true;
    }
  }
  return false;
}

bool CoreAudioOutput::selectFormatOfStream(AudioStreamID stream) {
  void* block = nullptr;
  const UInt32 bytes = readObjectProperty(stream, kAudioStreamPropertyAvailablePhysicalFormats,
                                          kAudioObjectPropertyScopeGlobal, &block);
  const auto offers = toArray<AudioStreamRangedDescription>(block, bytes);
  const auto offer =
      std::find_if(offers.begin(), offers.end(), [this](const AudioStreamRangedDescription& o) {
        return matches(o.mFormat, m_port->m_properties);
      });
  if (offer == offers.end()) {
    return false;
  }
  m_streamFormat = offer->mFormat;
  return true;
}

/// Saves the selected stream's format for the teardown. If it cannot be read, the previously saved
/// one is kept: the last known good format, usually of the same stream.
void CoreAudioOutput::savePhysicalFormat() {
  void* block = nullptr;
  const UInt32 bytes = readObjectProperty(m_outputStreamId, kAudioStreamPropertyPhysicalFormat,
                                          kAudioObjectPropertyScopeGlobal, &block);
  const auto current = toArray<AudioStreamBasicDescription>(block, bytes);
  if (current.count != 0) {
    m_savedPhysicalFormat = *current.begin();
  }
}

OSStatus CoreAudioOutput::setPhysicalFormat(const AudioStreamBasicDescription& format) {
  constexpr AudioObjectPropertyAddress kAddress = {kAudioStreamPropertyPhysicalFormat,
                                                   kAudioObjectPropertyScopeGlobal,
                                                   kAudioObjectPropertyElementMaster};
  return AudioObjectSetPropertyData(m_outputStreamId, &kAddress, 0, nullptr, sizeof format,
                                    &format);
}

/// Ends a started path: afterwards the procedure is not called any more, and the stream has its
/// previous format.
void CoreAudioOutput::endPassthrough() {
  AudioDeviceStop(m_deviceId, m_ioProcId);
  AudioDeviceDestroyIOProcID(m_deviceId, m_ioProcId);
  if (m_savedPhysicalFormat) {
    setPhysicalFormat(*m_savedPhysicalFormat);
  }
  m_passthroughActive = false;
}

}  // namespace Tavro
