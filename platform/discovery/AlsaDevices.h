#pragma once

/// ALSA's PCMs as devices, for machines without a sound server. One becomes a device when it is
/// attached, and is lost when its driver says so; then it is opened for a moment every few seconds,
/// and is a device again when that succeeds. They play in real time only. [host-thread]

#include <AudioDevices/AudioDevices.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/device/Device.h"

namespace Platform {

inline constexpr const char* kAlsaPrefix = "alsa:";

/// Null, with `failure` filled: it cannot be one.
std::shared_ptr<Device> attachAlsa(const std::string& identifier, AudioDevices::Failure& failure);

std::vector<AudioDevices::AttachableDevice> alsaNames(AudioDevices::Failure& failure);

}  // namespace Platform
