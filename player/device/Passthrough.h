#pragma once

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <optional>
#include <string>

#include "player/media/MediaFile.h"

namespace Player {

/// A format of AC-3 bursts.
bool isAc3(const AudioStreamBasicDescription& format);

/// Whether an input can go to a device as it is. The reasons are for people; empty: it can.

/// Of one format of a device, for AC-3 of the rate; without a rate for any.
std::string refusalOf(const AudioStreamBasicDescription& format, std::optional<std::uint32_t> rate);

/// Of an input; "it is E-AC-3, not AC-3", for one.
std::string refusalOf(const Coding& coding);

/// Of an input on a device.
std::string refusalOf(const Coding& coding, const AudioDevices::DeviceDescription& device);

/// Whether people expect it to be passed through, and want to know why it is not.
bool isForReceivers(const Coding& coding);

}  // namespace Player
