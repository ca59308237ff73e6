// SPDX-License-Identifier: MIT

#pragma once

/// Channel layouts as labels in device order, and their AudioChannelLayout records.

#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Platform {

using Labels = std::vector<AudioChannelLabel>;

/// Returns the usual layout for a channel count; labels beyond 8 are unknown.
Labels usualLabels(std::uint32_t channels);

/// Builds an AudioChannelLayout: by tag if one names exactly these labels, else by descriptions.
std::vector<std::byte> layoutRecord(const Labels& labels);

/// Returns nothing if the record is shorter than it says, or its tag is unknown.
std::optional<Labels> labelsOfRecord(std::span<const std::byte> record);

}  // namespace Platform
