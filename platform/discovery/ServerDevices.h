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
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

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
  AudioDevices::Failure connect();
  [[noreturn]] void watch();
  void awaitChange(std::optional<BackOff::Interval> atMost);
  AudioDevices::Failure reconnect();
  void synchronise(Lost lost);
  void takeOver(const Sink& sink, Lost lost);
  void replace(Entry& entry, const Sink& sink);
  Entry makeDevice(const Sink& sink);
  void loseDevices(const ServerState& state);

  std::mutex m_lock;

  // Guarded by m_lock
  std::unique_ptr<SoundServer> m_server;
  AudioDevices::StreamName m_streamName;
  std::map<std::string, Entry> m_entries;  // by the sink's name
  bool m_watched = false;
  BackOff m_backOff{std::chrono::milliseconds(250),
                    std::chrono::seconds(4)};  // until the next attempt to connect

  // For the watching thread; m_changeLock is a leaf
  std::mutex m_changeLock;
  std::condition_variable m_change;
  bool m_changed = false;
};

}  // namespace Platform
