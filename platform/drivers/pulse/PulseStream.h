// SPDX-License-Identifier: MIT

#pragma once

/// One stream on one sink, from its connection to its end: never moved by the server, filled on
/// libpulse's thread whenever there is room.
///
/// Sound fills the buffer at once, and the server begins to play. Then the stream pauses for two
/// cycles and writes up to three cycles at a time, so that clients can refill their own queues;
/// more only when less than half is left. Bursts, for which the device runs before there are any,
/// begin with 40 ms of silence.

#include <atomic>
#include <cstdint>
#include <memory>
#include <pulse/pulseaudio.h>

#include "platform/driver/DriftMeter.h"
#include "platform/drivers/pulse/PulseConnection.h"
#include "platform/drivers/pulse/PulseSink.h"

namespace Platform {

struct StreamConfig {
  std::string sink;
  pa_sample_spec spec{};
  pa_channel_map map{};
  bool bursts = false;
  std::uint32_t cycleFrames = 0;
};

/// Figures of the present stream, or of the last one; each is independent. [any-thread]
struct StreamStats {
  std::atomic<std::uint32_t> latencyFrames{0};
  std::atomic<std::uint64_t> underruns{0};  // of all streams
  DriftMeter drift;                         // of all streams; updated under libpulse's lock
  std::atomic<std::uint64_t> endedAt{0};    // generation of the snapshot that shows why; 0: not
  std::atomic<bool> suspended{false};       // another program suspended the sink
};

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

  static std::uint32_t bufferFrames(const StreamConfig& plan);

 private:
  static void onState(pa_stream* stream, void* self);
  static void onSuspended(pa_stream* stream, void* self);
  static void onRoom(pa_stream* stream, std::size_t byteCount, void* self);
  static void onLater(pa_mainloop_api* api, pa_time_event* event, const timeval* time, void* self);
  static void onTiming(pa_stream* stream, int success, void* self);
  static void onUnderrun(pa_stream* stream, void* self);

  bool connect();
  OSStatus refused(int error);
  void ended();
  void fillAtFirst();
  void fill(std::uint32_t mostCycles);
  bool hasRoom() const;
  bool isRunningDry() const;
  void fillLater(std::uint32_t cycles);
  void askForTiming();
  void readTiming();
  void measureDrift();

  const std::shared_ptr<PulseConnection> m_connection;
  const StreamConfig m_plan;
  CycleSource& m_source;
  const std::size_t m_frameBytes;
  StreamStats& m_figures;
  StreamListener& m_listener;

  // Under libpulse's lock
  pa_stream* m_stream = nullptr;
  pa_time_event* m_later = nullptr;
  pa_operation* m_timing = nullptr;  // requested
  bool m_isReady = false;
  OSStatus m_refusal = noErr;
  bool m_hasStarted = false;
  bool m_wasFull = false;
  bool m_rests = false;  // clients may refill their queues
  bool m_nobodyPlays = false;
};

/// After bursts a sink keeps their rate until some program plays sound, and a program may adopt the
/// rate that it finds. So this opens and closes a stream of the former rate, unheard. [host-thread]
void bringBackRate(PulseConnection& connection, const std::string& sink,
                   const pa_sample_spec& former, const pa_channel_map& map);

}  // namespace Platform
