// SPDX-License-Identifier: MIT

#include <AudioDevices/AudioDevices.h>

#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <utility>

#include "platform/discovery/AlsaDevices.h"
#include "platform/discovery/ServerDevices.h"
#include "platform/drivers/file/FileDriver.h"
#include "platform/manager/DeviceManager.h"

namespace AudioDevices {
namespace {

using Platform::DeviceManager;

constexpr std::string_view kFilePrefix = "file:";
constexpr int kMostPartsPerMillion = 100'000;

DeviceDescription describeIt(const Platform::Device& device) {
  const Platform::DeviceState state = device.state();
  DeviceDescription description{
      .id = device.id(),
      .identifier = device.identifier(),
      .name = device.name(),
      .isDefault = DeviceManager::instance().defaultDevice().get() == &device,
      .sampleRate = state.sampleRate(),
      .latencyFrames = device.latencyFrames(),
      .labels = state.description.labels,
      .streams = {}};
  for (std::size_t i = 0; i < state.description.streams.size(); ++i) {
    const auto& stream = state.description.streams[i];
    description.streams.push_back({.id = device.streamIds()[i],
                                   .currentFormat = stream.format,
                                   .availableFormats = stream.available});
  }
  return description;
}

/// Makes a path absolute and normal: one file is one device, however its path is spelled and even
/// if the current folder changes.
std::string fullIdentifier(const std::string& identifier) {
  if (!identifier.starts_with(kFilePrefix) || identifier.size() == kFilePrefix.size()) {
    return identifier;
  }
  std::error_code error;
  const auto path = std::filesystem::absolute(identifier.substr(kFilePrefix.size()), error);
  return error ? identifier : std::string(kFilePrefix) + path.lexically_normal().string();
}

AudioDeviceID attachFile(const std::string& identifier, const AttachOptions& options,
                         Failure& failure) {
  if (std::abs(options.clockPpm) > kMostPartsPerMillion) {
    failure = {.status = kAudio_ParamError,
               .message = "a clock cannot be off by " + std::to_string(options.clockPpm) +
                          " parts per million; " + std::to_string(kMostPartsPerMillion) +
                          " at most"};
    return kAudioObjectUnknown;
  }
  const std::string path = identifier.substr(kFilePrefix.size());
  auto driver = std::make_unique<Platform::FileDriver>(path, options);
  failure = driver->failure();
  if (failure) {
    return kAudioObjectUnknown;
  }
  return DeviceManager::instance().add(identifier, path, std::move(driver))->id();
}

}  // namespace

std::vector<DeviceDescription> list(Failure* noServer) {
  Failure found = Platform::ServerDevices::instance().update();
  if (noServer != nullptr) {
    *noServer = std::move(found);
  }
  std::vector<DeviceDescription> descriptions;
  for (const auto& device : DeviceManager::instance().devices()) {
    descriptions.push_back(describeIt(*device));
  }
  return descriptions;
}

DeviceDescription describe(AudioDeviceID id) {
  const auto device = DeviceManager::instance().device(id);
  return device ? describeIt(*device) : DeviceDescription{};
}

std::vector<AttachableDevice> listAlsa(Failure* noAlsa) {
  Failure found;
  std::vector<AttachableDevice> names = Platform::alsaNames(found);
  if (noAlsa != nullptr) {
    *noAlsa = std::move(found);
  }
  return names;
}

void setStreamName(const StreamName& name) {
  Platform::ServerDevices::instance().setStreamName(name);
}

AudioDeviceID attach(const std::string& identifier, Failure* failure,
                     const AttachOptions& options) {
  Failure found;
  const std::string full = fullIdentifier(identifier);
  AudioDeviceID id = kAudioObjectUnknown;
  if (full.starts_with(Platform::kServerPrefix)) {
    found = Platform::ServerDevices::instance().update();
  }
  if (const auto known = DeviceManager::instance().device(full)) {
    id = known->id();
    found = {};
  } else if (found) {
    found.message = "there is no device '" + identifier + "': " + found.message;
  } else if (full.starts_with(kFilePrefix)) {
    id = attachFile(full, options, found);
  } else if (full.starts_with(Platform::kAlsaPrefix)) {
    const auto made = Platform::attachAlsa(full, found);
    id = made ? made->id() : AudioDeviceID{kAudioObjectUnknown};
  } else {
    found = {.status = kAudioHardwareBadDeviceError,
             .message = "there is no device '" + identifier +
                        "'; a file is 'file:PATH', ALSA's are 'alsa:NAME'"};
  }
  if (failure != nullptr) {
    *failure = std::move(found);
  }
  return id;
}

Failure detach(AudioDeviceID id) {
  const auto device = DeviceManager::instance().device(id);
  if (!device) {
    return {.status = kAudioHardwareBadDeviceError, .message = "the device is not there any more"};
  }
  if (device->inCycle()) {
    return {.status = kAudioHardwareIllegalOperationError,
            .message = "a device cannot be detached from inside its own cycle"};
  }
  DeviceManager::instance().detach(device);
  return device->failure();
}

void trimEnd(AudioDeviceID id, std::uint32_t frames) {
  if (const auto device = DeviceManager::instance().device(id)) {
    device->trimEnd(frames);
  }
}

Failure failureOf(AudioDeviceID id) {
  const auto device = DeviceManager::instance().device(id);
  return device ? device->failure() : Failure{};
}

DeviceTotals totalsOf(AudioDeviceID id) {
  const auto device = DeviceManager::instance().device(id);
  return device ? device->totals() : DeviceTotals{};
}

BurstReport burstsOf(AudioDeviceID id) {
  const auto device = DeviceManager::instance().device(id);
  return device ? device->burstReport() : BurstReport{};
}

}  // namespace AudioDevices
