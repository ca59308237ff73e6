// SPDX-License-Identifier: MIT

#pragma once

/// A device: its description (streams, layout, rate), its clients, and the cycle that calls them.
///
/// Locks, in the order in which they are taken:
///   m_control  one start, stop or change at a time; held while the driver starts and stops (joins)
///   m_io       recursive; held by a cycle while it calls clients, so after a client was removed
///              under it no call is under way. Calls from inside a client may take it again.
///   model      modelLock(): plain data, a leaf; never held during a call out
/// Inside a cycle only m_io and model are taken, so a callback may stop and dispose of clients of
/// its own device; the driver's thread then ends by itself.

#include <AudioDevices/AudioDevices.h>
#include <CoreAudio/CoreAudio.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "platform/device/Client.h"
#include "platform/device/DeviceState.h"
#include "platform/device/StallDetector.h"
#include "platform/driver/Driver.h"
#include "time/RealTime.h"

namespace Platform {

class Device final : public CycleSource {
 public:
  Device(AudioDeviceID id, std::vector<AudioStreamID> streamIds, std::string identifier,
         std::string name, std::unique_ptr<Driver> driver);
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  AudioDeviceID id() const { return m_id; }
  const std::string& identifier() const { return m_identifier; }
  const std::string& name() const { return m_name; }
  const std::vector<AudioStreamID>& streamIds() const { return m_streamIds; }
  DeviceState state() const;  // [any-thread]

  /// Return platform statuses. [host-thread]
  OSStatus setFormat(std::size_t stream, const AudioStreamBasicDescription& format);
  OSStatus setLayout(const Labels& labels);
  OSStatus negotiateFormat(const PcmFormat& format);  // on refusal no unit can play here
  /// Changes the driver, between cycles, and reads its new description. Refused inside a cycle of
  /// this device, and after it has ended.
  OSStatus change(const std::function<OSStatus(bool running)>& apply);

  OSStatus add(const std::shared_ptr<Client>& client);  // [host-thread], or inside a cycle
  /// After it returns, no call of the client is under way or will come, unless it was called from
  /// inside one. [host-thread], or inside a cycle
  void remove(const Client& client);
  bool hasClients() const { return m_clientCount.load() != 0; }

  /// Ends the device permanently: removes all clients and lets the driver complete its work. Not
  /// inside a cycle. [host-thread]
  void end();
  /// The same at process exit, when the cycle's thread can no longer be joined.
  void endAtExit();
  /// Marks the device as lost before end(); failure() returns the reason. No effect after end().
  void markLost(const AudioDevices::Failure& loss);
  bool isAlive() const { return !m_ended.load() && !m_lost.load(); }

  /// Returns true if it should play but is stalled, as found by the last poll. [any-thread]
  bool isStalled() const { return m_isStalled.load(); }
  bool isSuspended() const { return hasClients() && m_driver->isSuspended(); }
  /// The new suspended state if it changed since the last call, otherwise nothing. [device watch]
  std::optional<bool> changeOfSuspension();
  /// Polls the watchdog and returns its finding. [device watch]
  StallDetector::Finding poll(std::uint64_t nowNs);
  /// Restarts the driver if that can help. May block while it checks that the server responds;
  /// holds no lock meanwhile. [device watch]
  void reopen();

  void trimEnd(std::uint32_t frames) { m_driver->trimEnd(frames); }  // [host-thread]

  /// Records why a unit could not start on it, or nothing if one could. [host-thread]
  void noteRefusal(const AudioDevices::Failure& refusal);

  AudioDevices::Failure failure() const;  // [any-thread]
  std::uint32_t latencyFrames() const { return m_driver->latencyFrames(); }
  AudioDevices::DeviceTotals totals() const;  // [any-thread]
  AudioDevices::BurstReport burstReport() const { return m_driver->burstReport(); }

  /// Returns true if the calling thread is inside a cycle of this device.
  bool inCycle() const { return m_cycleThread.load() == std::this_thread::get_id(); }
  std::recursive_mutex& ioLock() { return m_io; }

  std::uint32_t cycle(std::uint32_t frames, std::uint64_t dueNs) override;
  std::uint32_t cycleFrames() const override;
  double sampleRate() const override;

  static constexpr std::uint32_t kMaxCycleFrames = 4096;

 private:
  bool readDescription();
  void discardBuffered();
  void prepareBuffers(std::uint32_t frames);
  bool callClients(std::uint32_t frames, const AudioTimeStamp& time);
  void compactClients();
  void countCycle(std::uint32_t frames, std::uint64_t dueNs);
  void countBursts();

  // Constant after construction
  const AudioDeviceID m_id;
  const std::vector<AudioStreamID> m_streamIds;
  const std::string m_identifier;
  const std::string m_name;
  const std::unique_ptr<Driver> m_driver;

  std::mutex m_control;
  mutable std::recursive_mutex m_io;

  DeviceState m_state;              // written under m_io and model, read under either
  AudioDevices::Failure m_loss;     // guarded by model
  AudioDevices::Failure m_refusal;  // guarded by model

  // Guarded by m_io
  std::vector<std::shared_ptr<Client>> m_clients;  // null if removed inside a cycle
  std::vector<Tavro::RealTime::LockedVector<std::byte>>
      m_memory;                                     // one per stream, for the largest cycle
  Tavro::RealTime::LockedVector<std::byte> m_list;  // an AudioBufferList of that many
  std::thread::id m_scheduled;                      // the thread that has requested real time
  std::uint64_t m_framesSinceStart = 0;

  // Used by the device watch only
  StallDetector m_watchdog;
  bool m_wasSuspended = false;

  // Atomic, independent of each other
  std::atomic<std::size_t> m_clientCount{0};
  std::atomic<bool> m_ended{false};
  std::atomic<bool> m_lost{false};
  std::atomic<bool> m_isStalled{false};
  std::atomic<std::thread::id> m_cycleThread{};
  std::atomic<OSStatus> m_startStatus{noErr};
  std::atomic<std::uint64_t> m_cycles{0};
  std::atomic<std::uint64_t> m_framesPlayed{0};
  std::atomic<std::uint64_t> m_framesDiscarded{0};
  std::atomic<std::uint64_t> m_lateCycles{0};
  std::atomic<std::uint64_t> m_burstCycles{0};
  std::atomic<std::uint64_t> m_bursts{0};
};

}  // namespace Platform
