// SPDX-License-Identifier: MIT

#pragma once

/// One stream on one sink, from its connection to its end: never moved by the server, and filled by
/// StreamFiller on libpulse's thread.

#include <memory>
#include <pulse/pulseaudio.h>
#include <string>

#include "platform/drivers/pulse/PulseConnection.h"
#include "platform/drivers/pulse/PulseSink.h"
#include "platform/drivers/pulse/StreamConfig.h"
#include "platform/drivers/pulse/StreamFiller.h"
#include "platform/drivers/pulse/StreamTiming.h"

namespace Platform {

/// Notified of how a stream begins. On libpulse's thread, or inside open().
class StreamListener {
 public:
  virtual void begun() = 0;
  virtual void refused(const AudioDevices::Failure& failure) = 0;

 protected:
  ~StreamListener() = default;
};

class PulseStream {
 public:
  PulseStream(std::shared_ptr<PulseConnection> connection, const StreamConfig& plan,
              CycleSource& source, StreamStats& figures, StreamListener& listener);
  ~PulseStream() { close(); }
  PulseStream(const PulseStream&) = delete;
  PulseStream& operator=(const PulseStream&) = delete;

  /// Connects; only openAndWait() waits for the server's reply. Call one of them, once. Neither
  /// they nor close() may be called with a device's I/O lock held. [host-thread]
  OSStatus open();
  OSStatus openAndWait();
  void close();  // no cycle is running or will run after the return

  void write(const void* bytes, std::size_t byteCount);  // inside a cycle; [io-thread]

 private:
  static void onState(pa_stream* stream, void* self);
  static void onSuspended(pa_stream* stream, void* self);
  static void onRoom(pa_stream* stream, std::size_t byteCount, void* self);
  static void onUnderrun(pa_stream* stream, void* self);

  bool connect() TAVRO_REQUIRES(m_connection->loop());
  OSStatus refused(int error) TAVRO_REQUIRES(m_connection->loop());
  void ended() TAVRO_REQUIRES(m_connection->loop());

  const std::shared_ptr<PulseConnection> m_connection;
  const StreamConfig m_plan;
  StreamStats& m_figures;
  StreamListener& m_listener;

  pa_stream* m_stream TAVRO_GUARDED_BY(m_connection->loop()) = nullptr;
  bool m_isReady TAVRO_GUARDED_BY(m_connection->loop()) = false;
  OSStatus m_refusal TAVRO_GUARDED_BY(m_connection->loop()) = noErr;
  StreamTiming m_timing TAVRO_GUARDED_BY(m_connection->loop());
  StreamFiller m_filler TAVRO_GUARDED_BY(m_connection->loop());
};

/// After bursts a sink keeps their rate until some program plays sound, and a program may adopt the
/// rate that it finds. So this opens and closes a stream of the former rate, unheard. [host-thread]
void bringBackRate(PulseConnection& connection, const std::string& sink,
                   const pa_sample_spec& former, const pa_channel_map& map);

}  // namespace Platform
