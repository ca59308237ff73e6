// SPDX-License-Identifier: MIT

#pragma once

/// A PCM as a device. It adopts the unit's channels, samples and rate as far as it supports them,
/// unless a format was set, so that they reach the device unchanged. A digital output (a name that
/// begins with iec958 or hdmi) also offers AC-3; in such a format it is opened with the channel
/// status for non-audio data.

#include <memory>
#include <string>
#include <vector>

#include "locks/Mutex.h"
#include "platform/driver/DriverFormat.h"
#include "platform/drivers/alsa/AlsaStream.h"
#include "platform/drivers/alsa/PcmCapabilities.h"

namespace Platform {

class AlsaDriver final : public Driver {
 public:
  /// `abilities` must not be empty.
  AlsaDriver(std::string name, PcmCapabilities abilities, std::vector<Positions> maps,
             AlsaLoss onLoss);

  DriverDescription describe() const override;
  OSStatus setFormat(std::size_t stream, const AudioStreamBasicDescription& format,
                     bool running) override;
  OSStatus negotiateFormat(const PcmFormat& format, bool running) override;
  OSStatus start(CycleSource& source) override;
  void stop() override;
  void restart(CycleSource& source) override;
  bool isSounding() const override { return true; }
  bool isResponsive() const override { return m_figures->isAbandoned.load() == 0; }
  void deliver(const AudioBufferList& buffers, std::uint32_t frames, bool silent) override;
  std::uint32_t latencyFrames() const override { return m_figures->latencyFrames.load(); }
  AudioDevices::Failure failure() const override;
  std::uint64_t underruns() const override { return m_figures->underruns.load(); }

 private:
  std::vector<std::uint32_t> burstRates() const;
  AudioDevices::Failure open(CycleSource& source);
  void noteFailure(const AudioDevices::Failure& failure);
  AlsaConfig plan() const;

  const std::string m_name;
  const PcmCapabilities m_abilities;
  const std::vector<Positions> m_maps;
  const AlsaLoss m_onLoss;

  // Changed between cycles only, by the device's caller
  DriverFormat m_format;

  const std::shared_ptr<AlsaStats> m_figures;  // an abandoned thread may still use it
  std::shared_ptr<AlsaStream> m_stream;        // replaced while no cycle can run

  mutable Tavro::Mutex<Tavro::LockRank::DriverFailure> m_failureLock;
  // Of the last start; empty once cycles run
  AudioDevices::Failure m_failure TAVRO_GUARDED_BY(m_failureLock);
};

}  // namespace Platform
