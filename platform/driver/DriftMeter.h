#pragma once

/// How much faster than nominal a device's clock is against host time: the slope of the straight
/// line through what has been heard by when. Interruptions part the looks into stretches, each with
/// a line of its own; all have one slope.
///
/// Looks that are off by s seconds (root mean square, each by itself) and come n times in t seconds
/// make the result off by s / t * sqrt(12 / n). A sound server's are off by 0.1 ms where it counts
/// by the clock: 1 part per million after 20 s. Errors that last weigh more, as those of a sink
/// that counts in blocks.

#include <atomic>
#include <cstdint>
#include <optional>

namespace Platform {

class DriftMeter {
 public:
  /// `frames`, counted from anywhere, have been heard by the host time. [io-thread]
  void look(std::uint64_t hostNs, std::int64_t frames, double framesPerSecond);
  /// What comes next does not follow on. Not beside look().
  void interrupt() { m_stretch = {}; }

  /// Nothing, when it has gone for less than 5 s. [any-thread]
  std::optional<double> partsPerMillion() const;

 private:
  struct Stretch {
    std::uint64_t firstNs = 0;  // 0: none has begun
    std::uint64_t lastNs = 0;
    std::int64_t firstFrame = 0;
    double lastTime = 0;  // seconds since the first look
    double looks = 0;
    double meanTime = 0;
    double meanLead = 0;  // of the sound before the time, seconds
  };

  Stretch m_stretch;
  double m_seconds = 0;   // of all stretches
  double m_squares = 0;   // of the times about their stretch's mean
  double m_products = 0;  // with the leads about theirs
  std::atomic<double> m_slope{0};
  std::atomic<bool> m_isLongEnough{false};  // and m_slope has been written (release, acquire)
};

}  // namespace Platform
