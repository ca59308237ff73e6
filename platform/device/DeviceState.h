// SPDX-License-Identifier: MIT

#pragma once

/// What a device is like at the moment, as its driver describes it.

#include <cstddef>
#include <cstdint>

#include "locks/NonBlocking.h"
#include "platform/driver/Driver.h"

namespace Platform {

struct DeviceState {
  DriverDescription description;
  std::uint64_t generation = 0;  // grows with each change

  double sampleRate() const;       // of the burst stream, if there is one, else of the first
  double nominalRate() const;      // the device's own, if its streams are converted
  std::uint32_t channels() const;  // of the PCM streams
  std::uint32_t cycleFrames() const;
};

/// Returns the size of the stream's buffer for a cycle of so many frames.
std::size_t bufferBytes(const DriverStream& stream, std::uint32_t frames) TAVRO_NONBLOCKING;

/// Returns true if clients need not adapt to the difference.
bool playsAlike(const DriverDescription& one, const DriverDescription& other);

}  // namespace Platform
