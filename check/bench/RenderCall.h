// SPDX-License-Identifier: MIT

#pragma once

#include <AudioUnit/AudioUnit.h>

#include <cstdint>

#include "check/bench/PlatformRecord.h"
#include "check/record/Bytes.h"
#include "check/watch/Watch.h"

namespace Check {

inline constexpr std::uint8_t kUnwritten = 0xEE;  // in memory that a callback may fill

/// What one call of the render callback left.
struct Rendered {
  OSStatus status;
  AudioUnitRenderActionFlags flags;
  UInt32 byteSize;
  UInt32 channels;
  Bytes bytes;             // the capacity; kUnwritten where nothing was written
  bool staysWithinMemory;  // nothing written before or beyond the capacity
  Watch::Section section;  // what the call did with heap and mutexes
  std::uint64_t sleptNs;   // simulated time that passed

  bool isSilent() const { return (flags & kAudioUnitRenderAction_OutputIsSilence) != 0; }
};

/// Calls the output's render callback with one buffer of `capacity` bytes.
Rendered callRender(const BuiltOutput& output, UInt32 frames, UInt32 capacity);

}  // namespace Check
