// SPDX-License-Identifier: MIT

#include "platform/driver/DriftMeter.h"

namespace Platform {
namespace {

constexpr double kNanosPerSecond = 1e9;
constexpr double kSettlingSeconds = 0.5;  // while buffers fill
constexpr double kLeastSeconds = 5;
constexpr std::uint64_t kLongestGapNs = 500'000'000;  // else the device was stalled

}  // namespace

void DriftMeter::addSample(std::uint64_t hostNs, std::int64_t frames, double framesPerSecond) {
  Segment& stretch = m_stretch;
  if (hostNs - stretch.lastNs > kLongestGapNs) {
    interrupt();
  }
  stretch.lastNs = hostNs;
  if (stretch.firstNs == 0) {
    stretch = {.firstNs = hostNs, .lastNs = hostNs, .firstFrame = frames};
  }
  const double time = static_cast<double>(hostNs - stretch.firstNs) / kNanosPerSecond;
  const double sound = static_cast<double>(frames - stretch.firstFrame) / framesPerSecond;
  if (time < kSettlingSeconds) {
    return;
  }
  m_seconds += stretch.looks > 0 ? time - stretch.lastTime : 0;
  stretch.lastTime = time;
  ++stretch.looks;
  const double fromMeanTime = time - stretch.meanTime;
  stretch.meanTime += fromMeanTime / stretch.looks;
  stretch.meanLead += (sound - time - stretch.meanLead) / stretch.looks;
  m_squares += fromMeanTime * (time - stretch.meanTime);
  m_products += fromMeanTime * (sound - time - stretch.meanLead);
  if (m_seconds >= kLeastSeconds) {
    m_slope.store(m_products / m_squares, std::memory_order_relaxed);
    m_isLongEnough.store(true, std::memory_order_release);
  }
}

std::optional<double> DriftMeter::driftPpm() const {
  return m_isLongEnough.load(std::memory_order_acquire)
             ? std::optional(m_slope.load(std::memory_order_relaxed) * 1'000'000)
             : std::nullopt;
}

}  // namespace Platform
