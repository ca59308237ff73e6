// SPDX-License-Identifier: MIT

#pragma once

/// The interface between the layer and what really plays: a driver describes itself, runs cycles on
/// a thread of its own while it is started, and receives each cycle's buffers. It knows nothing of
/// units, properties, identifiers or callbacks.

#include <AudioDevices/AudioDevices.h>
#include <CoreAudio/CoreAudio.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/format/ChannelLayout.h"
#include "platform/format/PcmFormat.h"

namespace Platform {

struct DriverStream {
  AudioStreamBasicDescription format;
  std::vector<AudioStreamRangedDescription> available;
  // For drivers that test their clients: a buffer of another size, or without memory.
  std::optional<std::uint32_t> oddBufferBytes{};
  bool withoutMemory = false;
};

/// Returns the format as available at its own rate only.
AudioStreamRangedDescription atItsRate(const AudioStreamBasicDescription& format);

struct DriverDescription {
  std::vector<DriverStream> streams;
  Labels labels;                    // one per channel of all streams, in order
  std::uint32_t cycleFrames = 512;  // usual; one burst with a stream in a burst format
  double nominalRate = 0;           // if it differs from the streams' rate
};

/// Returns about 10 ms of frames, for devices without a cycle length of their own.
std::uint32_t cycleFramesAt(std::uint32_t rate);

/// Runs the cycles for a driver; implemented by the device.
class CycleSource {
 public:
  /// Calls all clients, then the driver's deliver(). `dueNs` is the host time at which the cycle
  /// was due. Returns the frames played, or 0 if no client plays any more, so that the driver's
  /// thread may end. Never called concurrently. kUsualFrames: as many as cycleFrames() returns in
  /// this very cycle, with no change of format in between. [io-thread]
  virtual std::uint32_t cycle(std::uint32_t frames, std::uint64_t dueNs) = 0;
  static constexpr std::uint32_t kUsualFrames = 0;

  /// Return the frames of the next cycle, and the device's frames per second. [any-thread]
  virtual std::uint32_t cycleFrames() const = 0;
  virtual double sampleRate() const = 0;

 protected:
  ~CycleSource() = default;
};

class Driver {
 public:
  virtual ~Driver() = default;

  /// Called again after each change. [host-thread]
  virtual DriverDescription describe() const = 0;

  /// Optional changes. Never called while deliver() runs, but possibly between cycles; `running` is
  /// true while a client plays. [host-thread]
  virtual OSStatus setFormat(std::size_t stream, const AudioStreamBasicDescription& format,
                             bool running);
  virtual OSStatus setLayout(const Labels& labels, bool running);

  /// Announces the format that a unit will play; a driver without a settled format may adopt it
  /// unless it runs. Any status but noErr refuses all units. Called between cycles. [host-thread]
  virtual OSStatus negotiateFormat(const PcmFormat& format, bool running);

  /// start() runs cycles at least until stop(); none is running or will run after stop() returns.
  /// stop() may come without start(), and after the driver's thread has ended by itself. Never
  /// called from within a cycle. [host-thread]
  virtual OSStatus start(CycleSource& source) = 0;
  virtual void stop() = 0;
  /// Stops and starts a stalled driver; does not wait for a sound server.
  virtual void restart(CycleSource& source);

  /// Returns true if it plays by an external clock, so that its cycles may stall. [any-thread]
  virtual bool isSounding() const;
  /// Returns true while another program has suspended it. [any-thread]
  virtual bool isSuspended() const;
  /// Returns true if restart() could help a stalled driver. May block for up to 2 s on a server;
  /// called with no lock held.
  virtual bool isResponsive() const;

  /// Receives the cycle's buffers, one per stream, valid only during the call. `silent`: no client
  /// had anything to play. May copy, must not block. [io-thread]
  virtual void deliver(const AudioBufferList& buffers, std::uint32_t frames, bool silent) = 0;

  /// Completes what start() began. No start, change or cycle follows. [host-thread]
  virtual void finish();

  /// Removes up to `frames` frames from the end of the last cycle that was not silent. No effect on
  /// a driver that plays at once. [host-thread]
  virtual void trimEnd(std::uint32_t frames);

  /// Returns the present delay from delivery to playback, in frames. [any-thread]
  virtual std::uint32_t latencyFrames() const;

  /// Returns the measured clock drift in ppm; nothing if not measured yet, or never. [any-thread]
  virtual std::optional<double> driftPpm() const;

  virtual AudioDevices::Failure failure() const;          // as failureOf(); [any-thread]
  virtual std::uint64_t framesWritten() const;            // [any-thread]
  virtual std::uint64_t underruns() const;                // [any-thread]
  virtual AudioDevices::BurstReport burstReport() const;  // [any-thread]
};

}  // namespace Platform
