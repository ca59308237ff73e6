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
#include <thread>

#include "locks/Mutex.h"
#include "locks/NonBlocking.h"
#include "platform/device/ClientList.h"
#include "platform/device/CycleBuffers.h"
#include "platform/device/DeviceState.h"
#include "platform/device/ModelLock.h"
#include "platform/driver/Driver.h"

namespace Platform {

class CycleRunner final : public CycleSource {
 public:
  /// The driver outlives it.
  CycleRunner(Driver& driver, std::size_t streamCount);

  using IoMutex = Tavro::RecursiveMutex<Tavro::LockRank::DeviceCycle>;
  IoMutex& lock() TAVRO_RETURNS_LOCK(m_io) { return m_io; }
  /// Returns true if the calling thread is inside a cycle. [any-thread]
  bool isInside() const { return m_cycleThread.load() == std::this_thread::get_id(); }

  DeviceState state() const;  // [any-thread]
  /// [any-thread]; not analysed, as the count is atomic
  bool hasClients() const TAVRO_NO_ANALYSIS { return m_clients.count() != 0; }
  std::uint64_t count() const { return m_cycles.load(); }  // of cycles so far; [any-thread]
  /// Returns what the cycles have played, without what the driver and the device add. [any-thread]
  AudioDevices::DeviceTotals totals() const;

  ClientList& clients() TAVRO_REQUIRES(m_io) { return m_clients; }
  /// Asks the driver for its description. Returns true if it has changed for the clients.
  bool readDescription() TAVRO_REQUIRES(m_io);
  /// Lets the sample time begin at 0 with the next cycle.
  void resetSampleTime() TAVRO_REQUIRES(m_io) { m_framesSinceStart = 0; }

  std::uint32_t cycle(std::uint32_t frames, std::uint64_t dueNs) override;
  std::uint32_t cycleFrames() const override;
  double sampleRate() const override;

 private:
  /// Not analysed: m_state is written under both locks, so m_io suffices for reading it.
  const DeviceState& present() const TAVRO_REQUIRES(m_io) TAVRO_NO_ANALYSIS { return m_state; }
  bool play(std::uint32_t frames, std::uint64_t dueNs) TAVRO_NONBLOCKING TAVRO_REQUIRES(m_io);
  void scheduleThread() TAVRO_REQUIRES(m_io);
  void countBursts() TAVRO_REQUIRES(m_io);
  void countCycle(std::uint32_t frames, std::uint64_t dueNs) TAVRO_REQUIRES(m_io);

  Driver& m_driver;
  IoMutex m_io;
  DeviceState m_state TAVRO_GUARDED_BY(modelLock());  // also written under m_io: see present()
  ClientList m_clients TAVRO_GUARDED_BY(m_io);
  CycleBuffers m_buffers TAVRO_GUARDED_BY(m_io);
  std::thread::id m_scheduled TAVRO_GUARDED_BY(m_io);  // the thread that has requested real time
  std::uint64_t m_framesSinceStart TAVRO_GUARDED_BY(m_io) = 0;

  // Atomic, independent of each other
  std::atomic<std::thread::id> m_cycleThread{};
  std::atomic<std::uint64_t> m_cycles{0};
  std::atomic<std::uint64_t> m_framesPlayed{0};
  std::atomic<std::uint64_t> m_lateCycles{0};
  std::atomic<std::uint64_t> m_burstCycles{0};
  std::atomic<std::uint64_t> m_bursts{0};
};

}  // namespace Platform
