#pragma once

/// A PCM as a device. Channels, samples and rate are the unit's as far as the PCM takes them,
/// unless a format was set, so that they reach the device unchanged. A digital output (a name that
/// begins with iec958 or hdmi) offers AC-3, too; while it is in such a format, it is opened with
/// the channel status of what is not audio.

#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/driver/Driver.h"
#include "platform/drivers/alsa/Abilities.h"
#include "platform/drivers/alsa/AlsaStream.h"

namespace Platform {

class AlsaDriver final : public Driver {
 public:
  /// There must be abilities.
  AlsaDriver(std::string name, Abilities abilities, std::vector<Positions> maps, AlsaLoss onLoss);

  DriverDescription describe() const override;
  OSStatus setFormat(std::size_t stream, const AudioStreamBasicDescription& format,
                     bool running) override;
  OSStatus offerFormat(const PcmFormat& format, bool running) override;
  OSStatus start(CycleSource& source) override;
  void stop() override;
  void restart(CycleSource& source) override;
  bool isSounding() const override { return true; }
  bool answers() override { return m_figures->leftBehind.load() == 0; }
  void deliver(const AudioBufferList& buffers, std::uint32_t frames, bool silent) override;
  std::uint32_t latencyFrames() const override { return m_figures->latencyFrames.load(); }
  AudioDevices::Failure failure() const override;
  std::uint64_t underruns() const override { return m_figures->underruns.load(); }

 private:
  bool offersBursts(std::uint32_t rate) const;
  AudioDevices::Failure open(CycleSource& source);
  AlsaPlan plan() const;

  const std::string m_name;
  const Abilities m_abilities;
  const std::vector<Positions> m_maps;
  const AlsaLoss m_onLoss;

  // Changed between cycles only, by the device's caller
  PcmFormat m_pcm;
  bool m_formatIsSet = false;
  std::optional<std::uint32_t> m_burstRate;

  const std::shared_ptr<AlsaFigures> m_figures;  // a thread left behind may still use it
  std::shared_ptr<AlsaStream> m_stream;          // replaced while no cycle can be under way

  mutable std::mutex m_failureLock;  // a leaf
  AudioDevices::Failure m_failure;
};

}  // namespace Platform
