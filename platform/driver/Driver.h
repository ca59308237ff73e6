#pragma once

/// The seam between the layer and whatever really plays: a driver describes itself, runs cycles
/// on a thread of its own while it is started, and is handed each cycle's buffers. It knows nothing
/// of units, properties, identifiers or callbacks.

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
  // For drivers that try out their callers: a buffer of another size, or without memory.
  std::optional<std::uint32_t> oddBufferBytes{};
  bool withoutMemory = false;
};

struct DriverDescription {
  std::vector<DriverStream> streams;
  Labels labels;                    // one per channel of all streams, in order
  std::uint32_t cycleFrames = 512;  // usual; a stream in a burst format makes it one burst
  double nominalRate = 0;           // where it is another one than that of the streams
};

/// About 10 ms, for devices that leave it to us.
std::uint32_t cycleFramesAt(std::uint32_t rate);

/// What a driver runs cycles on; the device implements it.
class CycleSource {
 public:
  /// Calls everyone who plays, then the driver's deliver(). `dueNs` is the host time at which the
  /// cycle was to begin. Answers the frames played; 0: nobody plays any more, so the driver's
  /// thread may end. Never two at once. kUsualFrames: as many as cycleFrames() would answer in the
  /// very cycle, which a change of format does not come before. [io-thread]
  virtual std::uint32_t cycle(std::uint32_t frames, std::uint64_t dueNs) = 0;
  static constexpr std::uint32_t kUsualFrames = 0;

  /// Frames of the next cycle, and the device's frames per second. [any-thread]
  virtual std::uint32_t cycleFrames() const = 0;
  virtual double sampleRate() const = 0;

 protected:
  ~CycleSource() = default;
};

class Driver {
 public:
  virtual ~Driver() = default;

  /// Asked again after each change. [host-thread]
  virtual DriverDescription describe() const = 0;

  /// Changes; none is mandatory. Not while deliver() runs, but possibly between cycles; `running`:
  /// between start() and stop(). [host-thread]
  virtual OSStatus setFormat(std::size_t stream, const AudioStreamBasicDescription& format,
                             bool running);
  virtual OSStatus setLayout(const Labels& labels, bool running);

  /// A unit is going to play this; a driver that has not settled on a format may take it over
  /// unless it runs. An answer other than noErr refuses all units. Between cycles. [host-thread]
  virtual OSStatus offerFormat(const PcmFormat& format, bool running);

  /// Begins to run cycles, at least until stop(); none is under way or comes after stop() returns.
  /// stop() may come without start(), and after the driver's thread has ended by itself. Never
  /// called from within a cycle. [host-thread]
  virtual OSStatus start(CycleSource& source) = 0;
  virtual void stop() = 0;
  /// The one after the other, for cycles that stay away; does not wait for a sound server.
  virtual void restart(CycleSource& source);

  /// Plays by a clock that is not ours, so that its cycles may stay away. [any-thread]
  virtual bool isSounding() const;
  /// Somebody else has stopped it for a while. [any-thread]
  virtual bool isSuspended() const;
  /// Whether stop() and start() could help one whose cycles stay away; may wait for a server, for 2
  /// s at most. With no lock held.
  virtual bool answers();

  /// The cycle's buffers, one per stream; valid only during the call. `silent`: nobody had anything
  /// to play. May copy, may not wait. [io-thread]
  virtual void deliver(const AudioBufferList& buffers, std::uint32_t frames, bool silent) = 0;

  /// Completes what start() began; nothing is called afterwards but failure() and framesWritten().
  /// [host-thread]
  virtual void finish();

  /// Takes back up to `frames` frames from the end of the last cycle that was not silent. A driver
  /// that plays at once cannot. [host-thread]
  virtual void trimEnd(std::uint32_t frames);

  /// From being delivered to being heard, at the moment. [any-thread]
  virtual std::uint32_t latencyFrames() const;

  /// Of its clock against host time, as measured; nothing: not yet, or never. [any-thread]
  virtual std::optional<double> driftPpm() const;

  virtual AudioDevices::Failure failure() const;          // the first one; [any-thread]
  virtual std::uint64_t framesWritten() const;            // [any-thread]
  virtual std::uint64_t underruns() const;                // [any-thread]
  virtual AudioDevices::BurstReport burstReport() const;  // [any-thread]
};

}  // namespace Platform
