// SPDX-License-Identifier: MIT

#pragma once

/// The connection to a PulseAudio server, or to one that speaks its protocol: libpulse's thread,
/// the context, and a snapshot of the server that is refreshed whenever the server reports a
/// change.
///
/// libpulse's thread holds its lock while it runs a callback, cycles of devices included. So a
/// caller that takes it must not hold a device's I/O lock. Every wait under it is limited: time
/// events run on libpulse's own thread, whatever state the server is in.

#include <cstdint>
#include <functional>
#include <memory>
#include <pulse/pulseaudio.h>
#include <vector>

#include "locks/Mutex.h"
#include "platform/driver/SoundServer.h"
#include "platform/drivers/pulse/PulseLoop.h"
#include "platform/drivers/pulse/SnapshotReader.h"

namespace Platform {

inline constexpr std::uint64_t kServerTimeoutUs = 2'000'000;

class PulseConnection {
 public:
  PulseConnection();
  ~PulseConnection();
  PulseConnection(const PulseConnection&) = delete;
  PulseConnection& operator=(const PulseConnection&) = delete;

  /// Waits for the first snapshot. Call once. [host-thread]
  AudioDevices::Failure open(SoundServerListener& listener);
  /// The listener is not notified any more. [host-thread]
  void forgetListener() TAVRO_EXCLUDES(m_loop);

  ServerState state() const;  // [any-thread]

  PulseLoop& loop() TAVRO_RETURNS_LOCK(m_loop) { return m_loop; }  // libpulse's lock

  /// Waits until `isDone`, which it calls after each signal(). Returns false after 2 s.
  bool waitUntil(const std::function<bool()>& isDone) TAVRO_REQUIRES(m_loop);
  void signal() TAVRO_REQUIRES(m_loop) { m_loop.signal(); }
  pa_context* context() const { return m_context; }
  pa_mainloop_api* api() const { return m_loop.api(); }

  /// Names all streams, including those that play now. [host-thread]
  void setStreamName(const AudioDevices::StreamName& name) TAVRO_EXCLUDES(m_loop);

  /// Return a stream of that name, or of `unnamed` without one, or null on failure. end() ends it.
  pa_stream* newStream(const char* unnamed, const pa_sample_spec& spec, const pa_channel_map& map)
      TAVRO_REQUIRES(m_loop);
  pa_stream* newStream(const char* unnamed, pa_format_info* format) TAVRO_REQUIRES(m_loop);

  /// Ends a stream and takes over its callbacks. A stream that the server has not confirmed yet
  /// ends only then, so areAllEnded() may be false for a while.
  void end(pa_stream* stream) TAVRO_REQUIRES(m_loop);
  bool areAllEnded() const TAVRO_REQUIRES(m_loop) { return m_ending == 0; }

  /// Refreshes the snapshot and returns the generation that it will have.
  std::uint64_t requestSnapshot() TAVRO_REQUIRES(m_loop) { return m_snapshots.request(m_context); }
  /// Refreshes it and waits for that. Returns false if the server does not respond.
  bool isResponsive() TAVRO_EXCLUDES(m_loop);

 private:
  static void onContextState(pa_context* context, void* connection);
  static void onEvent(pa_context* context, pa_subscription_event_type_t type, std::uint32_t index,
                      void* connection);
  static void onAnswer(pa_stream* stream, void* connection);
  void subscribe() TAVRO_REQUIRES(m_loop);
  void publish(ServerState state) TAVRO_REQUIRES(m_loop);
  pa_stream* keep(pa_stream* stream) TAVRO_REQUIRES(m_loop);

  PulseLoop m_loop TAVRO_BEFORE(m_stateLock);
  pa_context* m_context = nullptr;

  SoundServerListener* m_listener TAVRO_GUARDED_BY(m_loop) = nullptr;
  SnapshotReader m_snapshots TAVRO_GUARDED_BY(m_loop);
  int m_ending TAVRO_GUARDED_BY(m_loop) = 0;  // streams being ended
  std::vector<pa_stream*> m_streams TAVRO_GUARDED_BY(m_loop);
  AudioDevices::StreamName m_streamName TAVRO_GUARDED_BY(m_loop);

  mutable Tavro::Mutex<Tavro::LockRank::ServerState> m_stateLock;
  ServerState m_state TAVRO_GUARDED_BY(m_stateLock);
};

}  // namespace Platform
