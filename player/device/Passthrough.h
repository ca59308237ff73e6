// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <optional>
#include <string>

#include "player/media/MediaFile.h"

namespace Player {

/// The overloads of refusalOf() return why an input cannot be passed through, as a text for the
/// user, or an empty string if it can.

/// For one device format and AC-3 of `rate`, or of any rate if none is given.
std::string refusalOf(const AudioStreamBasicDescription& format, std::optional<std::uint32_t> rate);

/// For an input; for example "the input is E-AC-3, not AC-3".
std::string refusalOf(const CodecInfo& coding);

/// For an input on a device.
std::string refusalOf(const CodecInfo& coding, const AudioDevices::DeviceDescription& device);

/// Returns whether users expect passthrough, and thus a reason if the input is decoded.
bool isForReceivers(const CodecInfo& coding);

}  // namespace Player
