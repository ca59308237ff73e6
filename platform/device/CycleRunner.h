// SPDX-License-Identifier: MIT

#pragma once

/// Runs the cycles of a device: lets its clients write into one buffer per stream, hands the
/// buffers to the driver, and counts.
///
/// Lock: lock() is the device's I/O lock. A cycle holds it while it calls clients, so after a
/// client was removed under it no call is under way. It is recursive, as calls from inside a client
/// may take it again. It guards clients and buffers; the description is written under it and
/// modelLock(), and read under either.

#include <AudioDevices/AudioDevices.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>

#include "platform/device/ClientList.h"
#include "platform/device/CycleBuffers.h"
#include "platform/device/DeviceState.h"
#include "platform/driver/Driver.h"

namespace Platform {

class CycleRunner final : public CycleSource {
 public:
  /// The driver outlives it.
  CycleRunner(Driver& driver, std::size_t streamCount);

  std::recursive_mutex& lock() { return m_io; }
  /// Returns true if the calling thread is inside a cycle. [any-thread]
  bool isInside() const { return m_cycleThread.load() == std::this_thread::get_id(); }

  DeviceState state() const;                                  // [any-thread]
  bool hasClients() const { return m_clients.count() != 0; }  // [any-thread]
  std::uint64_t count() const { return m_cycles.load(); }     // of cycles so far; [any-thread]
  /// Returns what the cycles have played, without what the driver and the device add. [any-thread]
  AudioDevices::DeviceTotals totals() const;

  // Under lock()
  ClientList& clients() { return m_clients; }
  /// Asks the driver for its description. Returns true if it has changed for the clients.
  bool readDescription();
  /// Lets the sample time begin at 0 with the next cycle.
  void resetSampleTime() { m_framesSinceStart = 0; }

  std::uint32_t cycle(std::uint32_t frames, std::uint64_t dueNs) override;
  std::uint32_t cycleFrames() const override;
  double sampleRate() const override;

 private:
  bool play(std::uint32_t frames, std::uint64_t dueNs);
  void scheduleThread();
  void countBursts();
  void countCycle(std::uint32_t frames, std::uint64_t dueNs);

  Driver& m_driver;
  std::recursive_mutex m_io;
  DeviceState m_state;  // written under m_io and model, read under either

  // Guarded by m_io
  ClientList m_clients;
  CycleBuffers m_buffers;
  std::thread::id m_scheduled;  // the thread that has requested real time
  std::uint64_t m_framesSinceStart = 0;

  // Atomic, independent of each other
  std::atomic<std::thread::id> m_cycleThread{};
  std::atomic<std::uint64_t> m_cycles{0};
  std::atomic<std::uint64_t> m_framesPlayed{0};
  std::atomic<std::uint64_t> m_lateCycles{0};
  std::atomic<std::uint64_t> m_burstCycles{0};
  std::atomic<std::uint64_t> m_bursts{0};
};

}  // namespace Platform
