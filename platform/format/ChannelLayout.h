#pragma once

/// Channel layouts as labels in device order, and the platform's record of them.

#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Platform {

using Labels = std::vector<AudioChannelLabel>;

/// The usual layout of a device with so many channels; unknown labels beyond 8.
Labels usualLabels(std::uint32_t channels);

/// An AudioChannelLayout by tag where a tag names exactly these labels, else by descriptions.
std::vector<std::byte> layoutRecord(const Labels& labels);

/// Nothing: a record too short for what it says, or a tag not known here.
std::optional<Labels> labelsOfRecord(std::span<const std::byte> record);

}  // namespace Platform
