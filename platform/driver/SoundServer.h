#pragma once

/// The seam to a sound server. A module of its own, loaded when it is first needed, connects to the
/// server, keeps track of its sinks and makes a driver for each; so a machine without the server's
/// library starts all the same. The module is linked to nothing of this layer; what both need is
/// compiled into both.

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "platform/driver/Driver.h"
#include "platform/format/ChannelLayout.h"

namespace Platform {

/// Something that the server plays on.
struct Sink {
  std::string name;         // stable
  std::uint32_t index = 0;  // of this appearance: a sink that comes back has another
  std::string description;
  std::uint32_t rate = 48000;
  std::vector<int> positions{};  // the server's own names of the channels, in device order
  Labels labels{};               // the same channels
  std::vector<std::uint32_t> burstRates{};
  bool operator==(const Sink&) const = default;
};

struct ServerState {
  std::uint64_t generation = 0;  // grows with each look at the server
  bool connected = false;
  std::vector<Sink> sinks{};  // none without a connection
  std::string defaultSink{};  // empty: none
};

class SinkDriver : public Driver {
 public:
  /// The sink has changed; one that runs goes on as it is. Between cycles. [host-thread]
  virtual void update(const Sink& sink, bool running) = 0;

  /// The server ended the stream, and a look at it taken afterwards has at most this generation.
  /// What the end was due to (the sink's removal, say) is part of that look. [any-thread]
  virtual bool streamEndedBy(std::uint64_t generation) const = 0;
};

class SoundServer {
 public:
  virtual ~SoundServer() = default;

  /// Has state() be as of now; waits for 2 s at most, false: the server does not answer.
  /// [host-thread]
  virtual bool refresh() = 0;

  /// As last heard of; asks nobody. [any-thread]
  virtual ServerState state() const = 0;

  /// Names all streams, present and future. Does not wait. [host-thread]
  virtual void setStreamName(const AudioDevices::StreamName& name) = 0;

  /// The driver may outlive this object. [host-thread]
  virtual std::unique_ptr<SinkDriver> makeDriver(const Sink& sink) = 0;
};

class SoundServerListener {
 public:
  /// state() has changed. On the module's thread, with its lock held: hand on and return.
  virtual void serverChanged() = 0;

 protected:
  ~SoundServerListener() = default;
};

/// Connects within 2 s or answers null and fills `failure`. The listener outlives the server, which
/// is the caller's. [host-thread]
using ConnectSoundServer = SoundServer*(SoundServerListener& listener,
                                        AudioDevices::Failure& failure);
inline constexpr const char* kSoundServerModule = "libCoreAudio_Pulse.so";
inline constexpr const char* kSoundServerEntry = "connectSoundServer";

}  // namespace Platform
