// SPDX-License-Identifier: MIT

#pragma once

/// The driver of a ScriptedDevice: plays into memory, with cycles by hand or by host time.

#include <AudioDevices/ScriptedDevice.h>

#include <vector>

#include "locks/Mutex.h"
#include "platform/driver/CycleTimer.h"
#include "platform/driver/Driver.h"

namespace Platform {

class ScriptedDriver final : public Driver {
 public:
  explicit ScriptedDriver(const AudioDevices::ScriptedSetup& setup);
  ~ScriptedDriver() override;

  DriverDescription describe() const override;
  OSStatus setFormat(std::size_t stream, const AudioStreamBasicDescription& format,
                     bool running) override;
  OSStatus setLayout(const Labels& labels, bool running) override;
  OSStatus start(CycleSource& source) override;
  void stop() override { m_clock.stop(); }
  std::uint32_t latencyFrames() const override { return m_latencyFrames; }
  void deliver(const AudioBufferList& buffers, std::uint32_t frames, bool silent) override;

  // Between cycles only
  void setBufferBytes(std::size_t stream, std::optional<std::uint32_t> bytes);
  void setBufferWithoutMemory(std::size_t stream, bool withoutMemory);

  /// Allows one cycle by hand at a time.
  using HandMutex = Tavro::Mutex<Tavro::LockRank::ScriptedCycle>;
  HandMutex& handLock() TAVRO_RETURNS_LOCK(m_hand) { return m_hand; }
  AudioDevices::ScriptedDevice::Cycle lastCycle() const TAVRO_REQUIRES(m_hand);
  std::vector<std::uint8_t> captured(std::size_t stream) const;

 private:
  std::uint32_t channels() const;

  const bool m_clocked;
  const std::uint32_t m_cycleFrames;
  const std::uint32_t m_latencyFrames;
  const std::size_t m_captureBytes;

  // Changed between cycles only, by the device's caller
  std::vector<DriverStream> m_streams;
  Labels m_labels;

  HandMutex m_hand TAVRO_BEFORE(m_playedLock);
  mutable Tavro::Mutex<Tavro::LockRank::ScriptedSound> m_playedLock;
  AudioDevices::ScriptedDevice::Cycle m_last TAVRO_GUARDED_BY(m_playedLock);
  std::vector<std::vector<std::uint8_t>> m_captured TAVRO_GUARDED_BY(m_playedLock);

  CycleTimer m_clock;  // last: its thread uses all other members
};

}  // namespace Platform
