// SPDX-License-Identifier: MIT

#pragma once

/// A sink as a device. It has the sink's rate and channels, and the unit's samples, unless a format
/// was set, so that they reach the server unchanged. In an AC-3 format the sink is taken
/// exclusively while something plays.

#include <memory>
#include <optional>
#include <string>

#include "locks/Mutex.h"
#include "platform/driver/DriverFormat.h"
#include "platform/drivers/pulse/PulseStream.h"

namespace Platform {

class PulseDriver final : public SinkDriver, private StreamListener {
 public:
  PulseDriver(std::shared_ptr<PulseConnection> connection, const Sink& sink);

  void update(const Sink& sink, bool running) override;
  bool streamEndedBy(std::uint64_t generation) const override;

  DriverDescription describe() const override;
  OSStatus setFormat(std::size_t stream, const AudioStreamBasicDescription& format,
                     bool running) override;
  OSStatus negotiateFormat(const PcmFormat& format, bool running) override;
  OSStatus start(CycleSource& source) override;
  void stop() override;
  void restart(CycleSource& source) override;
  bool isSounding() const override { return true; }
  bool isSuspended() const override { return m_figures.suspended.load(); }
  bool isResponsive() const override { return m_connection->isResponsive(); }
  void deliver(const AudioBufferList& buffers, std::uint32_t frames, bool silent) override;
  std::uint32_t latencyFrames() const override { return m_figures.latencyFrames.load(); }
  std::optional<double> driftPpm() const override { return m_figures.drift.driftPpm(); }
  AudioDevices::Failure failure() const override;
  std::uint64_t underruns() const override { return m_figures.underruns.load(); }

 private:
  void begun() override;
  void refused(const AudioDevices::Failure& failure) override;
  void makeStream(CycleSource& source);
  StreamConfig plan() const;
  void adaptToSink();

  const std::shared_ptr<PulseConnection> m_connection;

  // Changed between cycles only, by the device's caller
  Sink m_sink;
  DriverFormat m_format;

  StreamStats m_figures;
  std::unique_ptr<PulseStream> m_stream;  // replaced while no cycle can run

  mutable Tavro::Mutex<Tavro::LockRank::DriverFailure> m_failureLock;
  AudioDevices::Failure m_failure TAVRO_GUARDED_BY(m_failureLock);
};

}  // namespace Platform
