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
#include <mutex>
#include <pulse/pulseaudio.h>
#include <vector>

#include "platform/driver/SoundServer.h"
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
  void forgetListener();

  ServerState state() const;  // [any-thread]

  /// Holds libpulse's lock, which the following needs; setStreamName() and isResponsive() take it.
  /// [host-thread]
  class Hold {
   public:
    explicit Hold(PulseConnection& connection) : m_loop(connection.m_loop) {
      pa_threaded_mainloop_lock(m_loop);
    }
    ~Hold() { pa_threaded_mainloop_unlock(m_loop); }
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

   private:
    pa_threaded_mainloop* const m_loop;
  };

  /// Releases the lock until `isDone`, checked after each signal(). Returns false after 2 s.
  bool waitUntil(const std::function<bool()>& isDone);
  void signal() { pa_threaded_mainloop_signal(m_loop, 0); }
  pa_context* context() const { return m_context; }
  pa_mainloop_api* api() const { return pa_threaded_mainloop_get_api(m_loop); }

  /// Names all streams, including those that play now. [host-thread]
  void setStreamName(const AudioDevices::StreamName& name);

  /// Return a stream of that name, or of `unnamed` without one, or null on failure. end() ends it.
  pa_stream* newStream(const char* unnamed, const pa_sample_spec& spec, const pa_channel_map& map);
  pa_stream* newStream(const char* unnamed, pa_format_info* format);

  /// Ends a stream and takes over its callbacks. A stream that the server has not confirmed yet
  /// ends only then, so areAllEnded() may be false for a while.
  void end(pa_stream* stream);
  bool areAllEnded() const { return m_ending == 0; }

  /// Refreshes the snapshot and returns the generation that it will have.
  std::uint64_t requestSnapshot() { return m_snapshots.request(m_context); }
  /// Refreshes it and waits for that. Returns false if the server does not respond.
  bool isResponsive();

 private:
  static void onContextState(pa_context* context, void* connection);
  static void onEvent(pa_context* context, pa_subscription_event_type_t type, std::uint32_t index,
                      void* connection);
  static void onAnswer(pa_stream* stream, void* connection);
  void subscribe();
  void publish(ServerState state);
  pa_stream* keep(pa_stream* stream);

  pa_threaded_mainloop* m_loop = nullptr;
  pa_context* m_context = nullptr;

  // Under libpulse's lock
  SoundServerListener* m_listener = nullptr;
  SnapshotReader m_snapshots;
  int m_ending = 0;  // streams being ended
  std::vector<pa_stream*> m_streams;
  AudioDevices::StreamName m_streamName;

  mutable std::mutex m_stateLock;  // a leaf
  ServerState m_state;
};

}  // namespace Platform
