#pragma once

/// The connection to a PulseAudio server, or to one that speaks its protocol: libpulse's thread,
/// the context, and a picture of the server that is renewed whenever the server tells of a change.
///
/// libpulse's lock is held by its thread while it runs a callback, cycles of devices included. So
/// whoever takes it must not hold a device's I/O lock. Every wait under it has an end: time events
/// run on libpulse's own thread, whatever has become of the server.

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <pulse/pulseaudio.h>
#include <vector>

#include "platform/driver/SoundServer.h"

namespace Platform {

inline constexpr std::uint64_t kServerPatienceUs = 2'000'000;

class PulseConnection {
 public:
  PulseConnection();
  ~PulseConnection();
  PulseConnection(const PulseConnection&) = delete;
  PulseConnection& operator=(const PulseConnection&) = delete;

  /// Until the first picture is there. Once. [host-thread]
  AudioDevices::Failure open(SoundServerListener& listener);
  /// The listener hears of nothing any more.
  void forgetListener();

  ServerState state() const;  // [any-thread]

  /// libpulse's lock, for all that follows. [host-thread]
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

  /// Waits with the lock let go of until `isDone`, asked after each signal(); false: not in time.
  bool waitUntil(const std::function<bool()>& isDone);
  void signal() { pa_threaded_mainloop_signal(m_loop, 0); }
  pa_context* context() const { return m_context; }
  pa_mainloop_api* api() const { return pa_threaded_mainloop_get_api(m_loop); }

  /// Names all streams, those that play now included. [host-thread]
  void setStreamName(const AudioDevices::StreamName& name);

  /// Makes streams of that name, or of `unnamed` without one; ended by end(). Null on failure.
  pa_stream* newStream(const char* unnamed, const pa_sample_spec& spec, const pa_channel_map& map);
  pa_stream* newStream(const char* unnamed, pa_format_info* format);

  /// Ends a stream, whose callbacks are its maker's no more. One that the server has not answered
  /// yet can only be ended then, so areAllEnded() may be false for a while.
  void end(pa_stream* stream);
  bool areAllEnded() const { return m_ending == 0; }

  /// Has the picture renewed, and answers the generation that it will have.
  std::uint64_t look();
  /// Has it renewed, and waits for that.
  bool answers();

 private:
  static void onContextState(pa_context* context, void* connection);
  static void onEvent(pa_context* context, pa_subscription_event_type_t type, std::uint32_t index,
                      void* connection);
  static void onAnswer(pa_stream* stream, void* connection);
  static void onServer(pa_context* context, const pa_server_info* info, void* connection);
  static void onSink(pa_context* context, const pa_sink_info* info, int end, void* connection);
  void subscribe();
  void ask();
  bool fitsTogether() const;
  void publish(ServerState state);
  pa_stream* keep(pa_stream* stream);

  pa_threaded_mainloop* m_loop = nullptr;
  pa_context* m_context = nullptr;

  // Under libpulse's lock
  SoundServerListener* m_listener = nullptr;
  ServerState m_coming;  // what the questions under way have found so far
  bool m_isLooking = false;
  bool m_looksAgain = false;
  std::uint64_t m_looks = 0;  // begun
  int m_doubts = 0;           // looks in a row whose answers did not fit together
  int m_ending = 0;           // streams
  std::vector<pa_stream*> m_streams;
  AudioDevices::StreamName m_streamName;

  mutable std::mutex m_stateLock;  // a leaf
  ServerState m_state;
};

}  // namespace Platform
