#pragma once

/// Judges what a stream of AC-3 bursts carries, cycle by cycle: each cycle is one IEC 61937 burst
/// with one undamaged AC-3 frame, or all zeros. Not for a real-time thread.

#include <AudioDevices/AudioDevices.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "platform/format/PcmFormat.h"

namespace Platform {

using Burst = std::span<const std::uint8_t, kBurstBytes>;

/// What is wrong with a burst on a device of so many frames per second; empty: nothing.
std::string burstFault(Burst burst, std::uint32_t rate);

class BurstValidator {
 public:
  /// False: zeros. They are a pause once another burst has followed.
  bool take(Burst cycle, std::uint32_t rate);

  const AudioDevices::BurstReport& report() const { return m_report; }

 private:
  AudioDevices::BurstReport m_report;
  std::uint64_t m_zeroCycles = 0;  // since the last burst
};

}  // namespace Platform
