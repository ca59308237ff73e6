// SPDX-License-Identifier: MIT

#pragma once

/// The sound server's sinks as devices. Connects on demand; from then on a thread of its own keeps
/// the manager in step with the server: sinks that come and go, and the default output device,
/// which is the server's default sink unless another was chosen or attached. When the server goes,
/// the thread reconnects with increasing intervals. The server itself is never changed.
///
/// One per process, never destroyed. m_lock is held while devices are added, moved to and ended,
/// and is taken before all locks of theirs; waits for the server under it last 2 s at most.

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "locks/Condition.h"
#include "locks/Mutex.h"
#include "platform/device/BackOff.h"
#include "platform/device/Device.h"
#include "platform/driver/SoundServer.h"

namespace Platform {

inline constexpr const char* kServerPrefix = "pulse:";

class ServerDevices final : private SoundServerListener {
 public:
  static ServerDevices& instance();

  /// Brings the manager up to date, connecting first if necessary. Sinks whose device was lost or
  /// detached get a new one. Returns why there is no server. [host-thread], not inside a cycle
  AudioDevices::Failure update();

  /// Names the streams of later connections, too. [host-thread]
  void setStreamName(const AudioDevices::StreamName& name);

 private:
  enum class Lost { StayLost, GetANewDevice };
  struct Entry {
    Sink sink;
    std::shared_ptr<Device> device;
    SinkDriver* driver;  // owned by the device
  };

  ServerDevices() = default;
  void serverChanged() override;
  AudioDevices::Failure connect() TAVRO_REQUIRES(m_lock);
  [[noreturn]] void watch() TAVRO_EXCLUDES(m_lock);
  void awaitChange(std::optional<BackOff::Interval> atMost) TAVRO_EXCLUDES(m_changeLock);
  AudioDevices::Failure reconnect() TAVRO_REQUIRES(m_lock);
  void synchronise(Lost lost) TAVRO_REQUIRES(m_lock);
  void takeOver(const Sink& sink, Lost lost) TAVRO_REQUIRES(m_lock);
  void replace(Entry& entry, const Sink& sink) TAVRO_REQUIRES(m_lock);
  Entry makeDevice(const Sink& sink) TAVRO_REQUIRES(m_lock);
  void loseDevices(const ServerState& state) TAVRO_REQUIRES(m_lock);

  // For the watching thread
  Tavro::Mutex<Tavro::LockRank::ServerChange> m_changeLock;
  Tavro::Condition m_change;
  bool m_changed TAVRO_GUARDED_BY(m_changeLock) = false;

  Tavro::Mutex<Tavro::LockRank::ServerDevices> m_lock TAVRO_BEFORE(m_changeLock);
  std::unique_ptr<SoundServer> m_server TAVRO_GUARDED_BY(m_lock);
  AudioDevices::StreamName m_streamName TAVRO_GUARDED_BY(m_lock);
  std::map<std::string, Entry> m_entries TAVRO_GUARDED_BY(m_lock);  // by the sink's name
  bool m_watched TAVRO_GUARDED_BY(m_lock) = false;
  // Until the next attempt to connect
  BackOff m_backOff TAVRO_GUARDED_BY(m_lock){std::chrono::milliseconds(250),
                                             std::chrono::seconds(4)};
};

}  // namespace Platform
