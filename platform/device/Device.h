// SPDX-License-Identifier: MIT

#pragma once

/// A device: its names and its driver, which it starts with the first client, changes, and stops.
/// CycleRunner runs its cycles, CycleWatch detects that they stall, DeviceLife says whether it is
/// still there.
///
/// Locks, in the order in which they are taken:
///   m_control  one start, stop or change at a time; held while the driver starts and stops (joins)
///   ioLock()   of CycleRunner; recursive, held by a cycle while it calls clients
///   model      modelLock(): plain data, a leaf; never held during a call out
/// Inside a cycle only the latter two are taken, so a callback may stop and dispose of clients of
/// its own device; the driver's thread then ends by itself.

#include <AudioDevices/AudioDevices.h>
#include <CoreAudio/CoreAudio.h>

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "locks/Mutex.h"
#include "platform/device/Client.h"
#include "platform/device/CycleRunner.h"
#include "platform/device/CycleWatch.h"
#include "platform/device/DeviceLife.h"
#include "platform/device/DeviceState.h"
#include "platform/driver/Driver.h"

namespace Platform {

class Device final {
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
  DeviceState state() const { return m_cycles.state(); }  // [any-thread]

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
  bool hasClients() const { return m_cycles.hasClients(); }

  /// Ends the device permanently: removes all clients and lets the driver complete its work. Not
  /// inside a cycle. [host-thread]
  void end();
  /// The same at process exit, when the cycle's thread can no longer be joined.
  void endAtExit();
  DeviceLife& life() { return m_life; }
  bool isAlive() const { return m_life.isAlive(); }

  CycleWatch& watch() { return m_watch; }
  const CycleWatch& watch() const { return m_watch; }
  /// Restarts the driver if that can help. May block while it checks that the server responds;
  /// holds no lock meanwhile. [device watch]
  void reopen();

  void trimEnd(std::uint32_t frames) { unlocked().trimEnd(frames); }  // [host-thread]

  AudioDevices::Failure failure() const;  // of its life, else of its driver; [any-thread]
  std::uint32_t latencyFrames() const { return m_asked.latencyFrames(); }
  AudioDevices::DeviceTotals totals() const;  // [any-thread]
  AudioDevices::BurstReport burstReport() const { return m_asked.burstReport(); }

  /// Returns true if the calling thread is inside a cycle of this device.
  bool inCycle() const { return m_cycles.isInside(); }
  CycleRunner::IoMutex& ioLock() TAVRO_RETURNS_LOCK(m_cycles.lock()) { return m_cycles.lock(); }
  CycleSource& cycles() { return m_cycles; }

 private:
  /// For what a driver guards itself, and at process exit. Not analysed.
  Driver& unlocked() TAVRO_NO_ANALYSIS { return *m_driver; }
  OSStatus insert(const std::shared_ptr<Client>& client) TAVRO_REQUIRES(ioLock());
  bool takeOut(const Client& client) TAVRO_REQUIRES(ioLock());
  OSStatus startWith(const std::shared_ptr<Client>& client) TAVRO_REQUIRES(m_control);
  void discardBuffered();

  // Constant after construction
  const AudioDeviceID m_id;
  const std::vector<AudioStreamID> m_streamIds;
  const std::string m_identifier;
  const std::string m_name;
  const std::unique_ptr<Driver> m_driver TAVRO_TARGET_GUARDED_BY(m_control);
  const Driver& m_asked{*m_driver};  // the same, for what changes nothing and needs no lock

  Tavro::Mutex<Tavro::LockRank::DeviceControl> m_control;
  CycleRunner m_cycles;
  CycleWatch m_watch;
  DeviceLife m_life;

  // Atomic, independent of each other
  std::atomic<OSStatus> m_startStatus{noErr};
  std::atomic<std::uint64_t> m_framesDiscarded{0};
};

}  // namespace Platform
