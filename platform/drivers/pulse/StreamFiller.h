// SPDX-License-Identifier: MIT

#pragma once

/// Keeps the server's buffer of a stream filled: runs cycles whenever there is room.
///
/// Sound fills the buffer at once, and the server begins to play. Then the filler pauses for two
/// cycles and runs up to three cycles at a time, so that clients can refill their own queues; more
/// only when less than half is left. Bursts, for which the device runs before there are any, begin
/// with 40 ms of silence.

#include <cstdint>
#include <pulse/pulseaudio.h>

#include "platform/driver/Driver.h"
#include "platform/drivers/pulse/PulseConnection.h"
#include "platform/drivers/pulse/StreamConfig.h"
#include "platform/drivers/pulse/StreamTiming.h"

namespace Platform {

class StreamFiller {
 public:
  /// All outlive it.
  StreamFiller(PulseConnection& connection, const StreamConfig& plan, CycleSource& source,
               StreamTiming& timing);

  // Under libpulse's lock

  /// Runs cycles for what the server has requested. On libpulse's thread, which is the I/O thread.
  void fillRoomOf(pa_stream* stream);
  /// Runs no cycle by itself any more. Call before the stream ends.
  void cancel();

 private:
  static void onLater(pa_mainloop_api* api, pa_time_event* event, const timeval* time, void* self);
  void fillAtFirst();
  void fill(std::uint32_t mostCycles);
  bool hasRoom() const;
  bool isRunningDry() const;
  void fillLater(std::uint32_t cycles);

  PulseConnection& m_connection;
  const StreamConfig& m_plan;
  CycleSource& m_source;
  StreamTiming& m_timing;

  pa_stream* m_stream = nullptr;  // once it has requested sound
  pa_time_event* m_later = nullptr;
  bool m_wasFull = false;
  bool m_rests = false;  // clients may refill their queues
  bool m_nobodyPlays = false;
};

}  // namespace Platform
