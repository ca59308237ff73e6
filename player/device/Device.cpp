// SPDX-License-Identifier: MIT

#include "player/device/Device.h"

#include <AudioDevices/Formats.h>

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "player/base/ExitStatus.h"
#include "player/device/DeviceProperties.h"

namespace Player {

namespace {

AudioStreamBasicDescription description(const StreamFormat& format) {
  return format.type == SampleType::Float32
             ? AudioDevices::pcmFloat(format.rate, format.channels)
             : AudioDevices::pcmInteger(format.rate, format.channels, bitsOf(format.type));
}

std::string shapeText(const AudioStreamBasicDescription& shape) {
  return fmt::format("{} bit {}, {} channels, {} Hz", shape.mBitsPerChannel,
                     (shape.mFormatFlags & kAudioFormatFlagIsFloat) != 0 ? "float" : "integer",
                     shape.mChannelsPerFrame, shape.mSampleRate);
}

/// Suggests devices for an unknown name; errors of files and of ALSA contain a remedy.
std::string devicesBeside(const DeviceChoice& choice) {
  if (choice.isFile || choice.identifier.starts_with("alsa:")) {
    return "";
  }
  std::vector<std::string> names;
  for (const AudioDevices::DeviceDescription& device : AudioDevices::list()) {
    names.push_back(device.identifier);
  }
  return fmt::format("; {}{} (--list-devices)", names.empty() ? "" : "available: ",
                     names.empty() ? "choose another" : fmt::format("{}", fmt::join(names, ", ")));
}

}  // namespace

Device::Device(const DeviceChoice& choice, std::function<void()> onChange)
    : m_choice(choice), m_onChange(std::move(onChange)) {
  if (!choice.followsDefault) {
    attach();
  }
  settleOn(defaultDevice());
  if (m_onChange) {
    AudioObjectAddPropertyListener(kAudioObjectSystemObject, &kDefaultOutput, onDefault, this);
  }
}

void Device::attach() {
  AudioDevices::Failure failure;
  m_id = AudioDevices::attach(m_choice.identifier, &failure, m_choice.attach);
  if (m_id == kAudioObjectUnknown) {
    throw PlayerError(ExitStatus::DeviceFailed, failure.message + devicesBeside(m_choice));
  }
  if (const OSStatus status = makeDefaultDevice(m_id); status != noErr) {
    AudioDevices::detach(m_id);
    throw PlayerError(ExitStatus::DeviceFailed, m_choice.identifier +
                                                    " cannot be made the default output: " +
                                                    AudioDevices::statusText(status));
  }
}

Device::~Device() {
  if (m_onChange) {
    AudioObjectRemovePropertyListener(kAudioObjectSystemObject, &kDefaultOutput, onDefault, this);
  }
  if (m_id != kAudioObjectUnknown && m_choice.isFile) {
    AudioDevices::detach(m_id);
  }
}

OSStatus Device::onDefault(AudioObjectID /*object*/, UInt32 /*count*/,
                           const AudioObjectPropertyAddress* /*addresses*/, void* device) {
  static_cast<Device*>(device)->m_onChange();
  return noErr;
}

void Device::settleOn(AudioDeviceID id) {
  m_id = id;
  const AudioDevices::DeviceDescription now = describe();
  m_identifier = now.identifier;
  m_streams = now.streams;
  m_totals.moveTo(id);
}

std::string Device::news() {
  if (m_choice.isFile) {
    return "";
  }
  const AudioDeviceID now = defaultDevice();
  if (now == kAudioObjectUnknown) {
    return std::exchange(m_isThere, false)
               ? AudioDevices::failureOf(m_id).message + "; paused until there is a device"
               : "";
  }
  if (now != m_id || !m_isThere) {
    return moveTo(now);
  }
  const bool isStalled = isSet(now, kAudioDevicePropertyIOStoppedAbnormally);
  if (std::exchange(m_isStalled, isStalled) == isStalled) {
    return "";
  }
  return m_identifier + (isStalled ? " is not responding; waiting" : " has resumed");
}

std::string Device::moveTo(AudioDeviceID id) {
  const bool isLost = !m_isThere || !isSet(m_id, kAudioDevicePropertyDeviceIsAlive);
  const std::string former = m_identifier;
  settleOn(id);
  m_isThere = true;
  m_isStalled = false;
  const bool isTheChosen = !m_choice.followsDefault && m_identifier == m_choice.identifier;
  if (m_identifier == former || isTheChosen) {
    return "switched back to " + m_identifier;
  }
  return (isLost ? "lost " + former + ", " : "") + "switched to " + m_identifier;
}

void Device::setFileFormat(const StreamFormat& format) {
  const AudioStreamID stream =
      m_streams.empty() ? AudioStreamID{kAudioObjectUnknown} : m_streams.front().id;
  if (const OSStatus status = setPhysicalFormat(stream, description(format)); status != noErr) {
    throw PlayerError(
        ExitStatus::DeviceFailed,
        fmt::format("{} cannot hold {}: {}", m_choice.identifier, shapeText(description(format)),
                    AudioDevices::statusText(status)));
  }
}

std::uint32_t Device::channels() const {
  const std::vector<AudioChannelLabel> labels = describe().labels;
  const auto used = std::count_if(labels.begin(), labels.end(), [](AudioChannelLabel label) {
    return label != kAudioChannelLabel_Unused;
  });
  return used > 0 ? std::min(static_cast<std::uint32_t>(used), kMostChannels) : 2;
}

void Device::restoreFormats() const {
  for (const AudioDevices::StreamDescription& stream : m_streams) {
    setPhysicalFormat(stream.id, stream.currentFormat);
  }
}

void Device::check() const {
  const AudioDevices::Failure failure = AudioDevices::failureOf(m_id);
  const bool isLoss = !m_choice.isFile && failure.status == kAudioHardwareBadDeviceError &&
                      !isSet(m_id, kAudioDevicePropertyDeviceIsAlive);
  if (failure && !isLoss) {
    throw PlayerError(ExitStatus::DeviceFailed, failure.message);
  }
}

std::string Device::startRefusal() const {
  const OSStatus status = totals().startStatus;
  if (status == kAudioDevicePermissionsError) {
    return "another program uses the device";
  }
  return status == noErr ? "" : "the device did not start: " + AudioDevices::statusText(status);
}

std::uint64_t Device::latencyNs() const {
  if (m_choice.isFile) {
    return 0;
  }
  const double rate = nominalRate(m_id);
  if (rate <= 0) {
    return 0;
  }
  const std::uint32_t frames = numberOf(m_id, kAudioDevicePropertyLatency) +
                               numberOf(m_id, kAudioDevicePropertyBufferFrameSize);
  return static_cast<std::uint64_t>(frames / rate * 1e9);
}

/// Adds the current cycle, which framesPlayed does not include yet.
std::uint64_t Device::framesToHear() const {
  return m_choice.isFile ? 0
                         : AudioDevices::totalsOf(m_id).framesPlayed -
                               AudioDevices::totalsOf(m_id).framesDiscarded +
                               numberOf(m_id, kAudioDevicePropertyBufferFrameSize);
}

void Device::endWithSound(std::uint32_t padding, std::uint32_t rate) const {
  if (m_choice.isFile && describe().sampleRate == rate) {
    AudioDevices::trimEnd(m_id, padding);
  }
}

void Device::close() {
  if (!m_choice.isFile) {
    return;
  }
  const AudioDeviceID device = m_id;
  m_id = kAudioObjectUnknown;
  if (const AudioDevices::Failure failure = AudioDevices::detach(device)) {
    throw PlayerError(ExitStatus::DeviceFailed, failure.message);
  }
}

}  // namespace Player
