// SPDX-License-Identifier: MIT

#pragma once

/// The channels of a WAVE file: the order in which its speakers come, and libsndfile's codes for
/// them.

#include <cstddef>
#include <vector>

#include "platform/format/ChannelLayout.h"

namespace Platform {

/// Returns the device channel of each WAVE channel; empty if a label has no place in a WAVE file or
/// two share one.
std::vector<std::size_t> waveOrder(const Labels& labels);

/// Returns the speaker of each WAVE channel. The labels must have an order.
std::vector<int> waveSpeakers(const Labels& labels);

/// Returns true for those of mono and stereo, which a plain header implies.
bool areUsualSpeakers(const std::vector<int>& speakers);

}  // namespace Platform
