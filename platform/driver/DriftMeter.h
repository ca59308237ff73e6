// SPDX-License-Identifier: MIT

#pragma once

/// Estimates how much faster than nominal a device's clock runs, by linear regression of frames
/// played against host time. After an interruption a new segment starts; all segments share one
/// slope.
///
/// With n measurements in t seconds, whose errors are independent and s seconds (root mean square),
/// the result is off by s / t * sqrt(12 / n). A sound server's are off by 0.1 ms where it counts by
/// the clock: 1 ppm after 20 s. Lasting errors weigh more, such as those of a sink that counts in
/// blocks.

#include <atomic>
#include <cstdint>
#include <optional>

namespace Platform {

class DriftMeter {
 public:
  /// Adds a measurement: `frames`, from any origin, have been played at `hostNs`. [io-thread]
  void addSample(std::uint64_t hostNs, std::int64_t frames, double framesPerSecond);
  /// Starts a new segment. Must not run concurrently with addSample().
  void interrupt() { m_stretch = {}; }

  /// Returns nothing until 5 s have been measured. [any-thread]
  std::optional<double> driftPpm() const;

 private:
  struct Segment {
    std::uint64_t firstNs = 0;  // 0: not begun
    std::uint64_t lastNs = 0;
    std::int64_t firstFrame = 0;
    double lastTime = 0;  // seconds since the first measurement
    double looks = 0;
    double meanTime = 0;
    double meanLead = 0;  // of sound over time, seconds
  };

  Segment m_stretch;
  double m_seconds = 0;   // of all segments
  double m_squares = 0;   // of the times about their segment's mean
  double m_products = 0;  // with the leads about theirs
  std::atomic<double> m_slope{0};
  std::atomic<bool> m_isLongEnough{false};  // and m_slope has been written (release, acquire)
};

}  // namespace Platform
