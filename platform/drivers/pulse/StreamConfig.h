// SPDX-License-Identifier: MIT

#pragma once

/// What a stream on a sink is, and the figures that it reports.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <pulse/pulseaudio.h>
#include <string>

#include "platform/driver/DriftMeter.h"

namespace Platform {

struct StreamConfig {
  std::string sink;
  pa_sample_spec spec{};
  pa_channel_map map{};
  bool bursts = false;
  std::uint32_t cycleFrames = 0;

  std::size_t frameBytes() const { return pa_frame_size(&spec); }
  std::size_t cycleBytes() const { return cycleFrames * frameBytes(); }
  /// Returns how many cycles last at least so long.
  std::uint32_t cyclesOf(std::uint32_t milliseconds) const;
  std::uint32_t bufferFrames() const;  // of the server's buffer
};

inline constexpr std::uint32_t kServerBufferMs = 160;  // a busy machine delays a thread

/// Figures of the present stream, or of the last one; each is independent. [any-thread]
struct StreamStats {
  std::atomic<std::uint32_t> latencyFrames{0};
  std::atomic<std::uint64_t> underruns{0};  // of all streams
  DriftMeter drift;                         // of all streams; updated under libpulse's lock
  std::atomic<std::uint64_t> endedAt{0};    // generation of the snapshot that shows why; 0: not
  std::atomic<bool> suspended{false};       // another program suspended the sink
};

}  // namespace Platform
