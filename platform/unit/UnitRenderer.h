// SPDX-License-Identifier: MIT

#pragma once

/// Carries sound from a unit's render callback to the device's buffers: pulls what a cycle needs,
/// converts it if necessary, and otherwise copies it bit for bit. Made off the I/O thread for one
/// configuration, with all it needs for the largest cycle; another configuration needs another
/// renderer.

#include <AudioUnit/AudioUnit.h>
#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <vector>

#include "locks/NonBlocking.h"
#include "platform/format/PcmFormat.h"
#include "platform/format/Resampler.h"
#include "time/RealTime.h"

namespace Platform {

struct RenderConfig {
  PcmFormat source;
  AURenderCallbackStruct callback{};
  std::vector<SInt32> channelMap;                 // device channel to stream channel
  std::vector<std::optional<PcmFormat>> streams;  // of the device, in its order; empty if not PCM
  std::uint32_t deviceRate = 0;
  std::uint32_t maxFrames = 0;
  AudioDeviceID device = kAudioObjectUnknown;
};

class UnitRenderer {
 public:
  /// Throws like makeResampler().
  UnitRenderer(RenderConfig plan, float gain);

  /// Writes `frames` frames into the zeroed buffers or, with `mix`, adds them to what these hold.
  /// Returns true if all of it is silence and the buffers are unchanged. [io-thread]
  bool render(AudioBufferList& buffers, std::uint32_t frames, const AudioTimeStamp& time,
              float gain, bool mix) TAVRO_NONBLOCKING;

 private:
  struct Target {
    std::size_t buffer;
    PcmFormat format;
    std::vector<SInt32> map;  // of this stream's channels
  };
  bool pull(std::uint32_t frames, const AudioTimeStamp& time) TAVRO_NONBLOCKING;
  bool needsConversion(const Target& target, bool mix) const;
  void copyTo(const Target& target, std::byte* out, std::uint32_t frames) const;
  const double* convertSource(std::uint32_t sourceFrames, std::uint32_t frames, float gain);
  void applyGain(double* samples, std::uint32_t frames, float gain);
  void packTo(const Target& target, const double* samples, std::byte* out, std::uint32_t frames,
              bool mix);
  bool isQuiet(bool silentInput, std::uint32_t sourceFrames);

  const RenderConfig m_plan;
  std::vector<Target> m_targets;
  std::unique_ptr<Resampler> m_resampler;  // null at equal rates
  std::uint64_t m_silentFrames;            // of input, since the last sound
  float m_gain;                            // applied so far; a change is a ramp over one cycle
  Tavro::RealTime::LockedVector<std::byte> m_source;
  Tavro::RealTime::LockedVector<double> m_wide;
  Tavro::RealTime::LockedVector<double> m_resampled;
  Tavro::RealTime::LockedVector<double> m_mapped;
  Tavro::RealTime::LockedVector<double> m_present;  // what a buffer holds before mixing
};

}  // namespace Platform
