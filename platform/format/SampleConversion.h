// SPDX-License-Identifier: MIT

#pragma once

/// Converts between packed samples and double, full scale at 1.0. Widening is exact for every type,
/// so a conversion to a type at least as wide is lossless.

#include <cstddef>

#include "locks/NonBlocking.h"
#include "platform/format/PcmFormat.h"

namespace Platform {

/// [io-thread]
void unpackSamples(SampleFormat format, const std::byte* packed, double* samples,
                   std::size_t sampleCount) TAVRO_NONBLOCKING;

/// Rounds to the nearest integer and clips at full scale; float is not clipped. NaN becomes 0 in an
/// integer. [io-thread]
void packSamples(SampleFormat format, const double* samples, std::byte* packed,
                 std::size_t sampleCount) TAVRO_NONBLOCKING;

}  // namespace Platform
