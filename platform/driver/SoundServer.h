// SPDX-License-Identifier: MIT

#pragma once

/// The interface to a sound server. A module, loaded on first use, connects to the server, tracks
/// its sinks and makes a driver for each, so that the layer also runs on a machine without the
/// server's library. The module links to nothing of this layer; what both need is compiled into
/// both.

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/driver/Driver.h"
#include "platform/format/ChannelLayout.h"

namespace Platform {

/// A playback device of the server.
struct Sink {
  std::string name;         // stable
  std::uint32_t index = 0;  // of this instance: a sink that comes back has another
  std::string description;
  std::uint32_t rate = 48000;
  std::vector<int> positions{};  // the server's channel positions, in device order
  Labels labels{};               // the same channels
  std::vector<std::uint32_t> burstRates{};
  bool operator==(const Sink&) const = default;
};

struct ServerState {
  std::uint64_t generation = 0;  // grows with each snapshot of the server
  bool connected = false;
  std::vector<Sink> sinks{};  // none without a connection
  std::string defaultSink{};  // empty: none
};

class SinkDriver : public Driver {
 public:
  /// Adopts a change of the sink; a running driver continues as it is. Between cycles.
  /// [host-thread]
  virtual void update(const Sink& sink, bool running) = 0;

  /// Returns true if the server ended the stream and the snapshot of `generation` was taken after
  /// that, so that it shows the cause (the sink's removal, say). [any-thread]
  virtual bool streamEndedBy(std::uint64_t generation) const = 0;
};

class SoundServer {
 public:
  virtual ~SoundServer() = default;

  /// Refreshes state(). Blocks for up to 2 s; returns false if the server does not respond.
  /// [host-thread]
  virtual bool refresh() = 0;

  /// Returns the latest snapshot without asking the server. [any-thread]
  virtual ServerState state() const = 0;

  /// Names all present and future streams. Does not wait for the server. [host-thread]
  virtual void setStreamName(const AudioDevices::StreamName& name) = 0;

  /// The driver may outlive this object. [host-thread]
  virtual std::unique_ptr<SinkDriver> makeDriver(const Sink& sink) = 0;
};

class SoundServerListener {
 public:
  /// Called when state() has changed. On the module's thread, with its lock held: must pass it on
  /// and return.
  virtual void serverChanged() = 0;

 protected:
  ~SoundServerListener() = default;
};

/// Connects within 2 s, or returns null and fills `failure`. The listener outlives the server,
/// which is owned by the caller. [host-thread]
using ConnectSoundServer = SoundServer*(SoundServerListener& listener,
                                        AudioDevices::Failure& failure);
inline constexpr const char* kSoundServerModule = "libCoreAudio_Pulse.so";
inline constexpr const char* kSoundServerEntry = "connectSoundServer";

}  // namespace Platform
