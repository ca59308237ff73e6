// SPDX-License-Identifier: MIT

#pragma once

/// Validates a stream of AC-3 bursts cycle by cycle: each must be one IEC 61937 burst with one
/// undamaged AC-3 frame, or all zeros. Not for a real-time thread.

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <string>

#include "platform/iec61937/BurstFormat.h"

namespace Platform {

/// Returns the first fault of a burst on a device of this rate in Hz, or an empty string.
std::string burstFault(Burst burst, std::uint32_t rate);

class BurstValidator {
 public:
  /// Returns false for all zeros, which count as a pause once another burst has followed.
  bool take(Burst cycle, std::uint32_t rate);

  const AudioDevices::BurstReport& report() const { return m_report; }

 private:
  AudioDevices::BurstReport m_report;
  std::uint64_t m_zeroCycles = 0;  // since the last burst
};

}  // namespace Platform
