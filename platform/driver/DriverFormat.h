// SPDX-License-Identifier: MIT

#pragma once

/// The format of a driver's only stream: linear PCM, or AC-3 bursts in its place. The PCM format
/// follows the units until a program sets one. Needs no lock: the device's caller changes it
/// between cycles only.

#include <CoreAudio/CoreAudio.h>

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "platform/driver/Driver.h"
#include "platform/format/PcmFormat.h"

namespace Platform {

class DriverFormat {
 public:
  explicit DriverFormat(const PcmFormat& pcm = {}) : m_pcm(pcm) {}

  const PcmFormat& pcm() const { return m_pcm; }  // also during bursts, after which it returns
  std::optional<std::uint32_t> burstRate() const { return m_burstRate; }  // nothing in PCM
  bool isSet() const { return m_isSet; }  // by a program, so units do not change it

  PcmFormat frames() const;           // as delivered: the PCM format, or the carrier of the bursts
  std::uint32_t cycleFrames() const;  // about 10 ms, or one burst

  /// Returns the stream, which offers `available` and bursts at these rates.
  DriverStream stream(std::vector<AudioStreamRangedDescription> available,
                      std::span<const std::uint32_t> burstRates) const;

  /// Adopts a format that no program has asked for.
  void adopt(const PcmFormat& pcm) { m_pcm = pcm; }
  /// Sets what a program has asked for. A return from bursts to the former PCM format sets none.
  void setPcm(const PcmFormat& pcm);
  void setBursts(std::uint32_t rate) { m_burstRate = rate; }

  /// Sets either, for a driver that cannot change it while it runs. Returns the platform's status.
  OSStatus set(const AudioStreamBasicDescription& format, bool isOffered, bool running);

 private:
  AudioStreamBasicDescription description() const;

  PcmFormat m_pcm;
  std::optional<std::uint32_t> m_burstRate;
  bool m_isSet = false;
};

}  // namespace Platform
