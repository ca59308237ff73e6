// SPDX-License-Identifier: MIT

#pragma once

/// ALSA's PCMs as devices, for machines without a sound server. One becomes a device when it is
/// attached, and is lost when its driver reports so; then it is opened briefly every 0.5 to 4 s
/// until that succeeds, and is a device again. Real time only. [host-thread]

#include <AudioDevices/AudioDevices.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/device/Device.h"

namespace Platform {

inline constexpr const char* kAlsaPrefix = "alsa:";

/// Returns null with `failure` filled if it cannot be opened.
std::shared_ptr<Device> attachAlsa(const std::string& identifier, AudioDevices::Failure& failure);

std::vector<AudioDevices::AttachableDevice> alsaNames(AudioDevices::Failure& failure);

}  // namespace Platform
