// SPDX-License-Identifier: MIT

#pragma once

/// The part of this platform layer beyond the audio service's own calls: device discovery, files as
/// devices, failures, and what a device was given. [host-thread] unless stated otherwise; no call
/// may be made on a real-time thread.
///
/// All clients that play on a device at the same time are mixed; integer formats clip at full
/// scale. A unit does not touch streams in AC-3 formats. The default output device is the one that
/// was set, while it exists, else the one attached first, else the sound server's current default;
/// units follow it unless their device was set. Setting it affects this process only, not the
/// server.
///
/// A sink of a sound server (PulseAudio, PipeWire) is the device `pulse:NAME`. The server's library
/// is loaded by the first list(), or attach() of such a name; sinks are tracked from then on. Real
/// time only.
///
/// A PCM of ALSA is the device `alsa:NAME`, NAME as in ALSA's configuration; libasound is loaded by
/// listAlsa(), or attach() of such a name. The PCM is open briefly during attach(), and while
/// something plays. It adopts the channels, samples and rate of the first unit that plays, as far
/// as it supports them, unless a format was set. Real time only.
///
/// A lost device (sink removed, stream ended by the server, server gone, hardware unplugged) is not
/// alive, its units are silent, and failureOf() returns the reason until detach(), or until the
/// next device of its name is lost.

#include <CoreAudio/CoreAudio.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace AudioDevices {

/// An error for the user: a sentence that names the thing and the remedy, and the status that goes
/// with it. Status 0 means no error.
struct Failure {
  OSStatus status = noErr;
  std::string message;
  explicit operator bool() const { return status != noErr; }
};

/// Describes a status in words, with its four-character code, if it has one, and its number.
std::string statusText(OSStatus status);

struct StreamDescription {
  AudioStreamID id;
  AudioStreamBasicDescription currentFormat;
  std::vector<AudioStreamRangedDescription> availableFormats;
};

struct DeviceDescription {
  AudioDeviceID id;
  std::string identifier;  // what attach() takes; for a file the absolute path
  std::string name;
  bool isDefault;
  double sampleRate;
  std::uint32_t latencyFrames;            // present delay from delivery to playback
  std::vector<AudioChannelLabel> labels;  // one per channel, in device order
  std::vector<StreamDescription> streams;
};

/// Returns all present devices: the sound server's sinks and the attached devices. Blocks for up to
/// 2 s for the server, twice that during a reconnection. `*noServer` receives the reason if there
/// is no server, in one line.
std::vector<DeviceDescription> list(Failure* noServer = nullptr);

/// Returns one of them, or a lost one, without asking a server; `id` is kAudioObjectUnknown if the
/// device is unknown. [any-thread]
DeviceDescription describe(AudioDeviceID device);

/// A device that attach() also takes, as its configuration describes it. It has not been opened, so
/// its rate and channels are unknown.
struct AttachableDevice {
  std::string identifier;
  std::string name;
};
/// Returns ALSA's PCMs that are meant for users to choose. `*noAlsa` receives the reason if they
/// cannot be listed, in one line. Blocks for up to 3 s for libasound.
std::vector<AttachableDevice> listAlsa(Failure* noAlsa = nullptr);

/// How the mixer of a sound server shows what this process plays.
struct StreamName {
  std::string name;
  std::string title{};
  std::string file{};
  bool operator==(const StreamName&) const = default;
};
/// Names the streams of this process, including those that play now. Without a server the name is
/// kept until there is one. [host-thread]
void setStreamName(const StreamName& name);

/// Options of a file device.
struct AttachOptions {
  /// Offers AC-3 formats beside PCM on a WAV file's stream; the file then holds bursts packed as
  /// 16-bit stereo, as receivers play them. A .spdif file always offers them, and nothing else.
  bool offersBursts = false;
  /// How much faster than nominal the device's clock runs, in ppm: -100000 to 100000.
  int clockPpm = 0;
};

/// Adds the device named by `identifier` and returns its object; the same identifier returns the
/// same object, with the options of the first call. `file:PATH` is opened for writing at once, so
/// that an unwritable path is reported here; it holds raw AC-3 bursts if PATH ends in .spdif, else
/// WAV. Returns kAudioObjectUnknown and fills `*failure` if there is no such device, it cannot be
/// opened, or an option is out of range.
AudioDeviceID attach(const std::string& identifier, Failure* failure,
                     const AttachOptions& options = {});

/// Removes the device, completes its file, and returns the failure that failureOf() would. Its
/// object is invalid afterwards; units that play on it fall silent. Refused inside the device's own
/// cycle. A program that exits without detach() leaves a complete file, but gets no failure report.
Failure detach(AudioDeviceID device);

/// Makes a file end with the last frame of sound: removes up to `frames` frames from the end of the
/// last cycle that was not silent, as only the client knows how much of it is padding. If more
/// sound follows, they become part of the gap. No effect on other devices.
void trimEnd(AudioDeviceID device, std::uint32_t frames);

/// Returns what went wrong (disk full, folder removed, start refused, …): for a file the first
/// failure since attach(), for a sink the last one until it plays again, for a PCM the last one.
/// Cheap enough to poll every few milliseconds.
Failure failureOf(AudioDeviceID device);

/// The counters of a device. A file device runs its cycles as fast as they are consumed in
/// simulated time, and by the clock in real time. Its file takes sample type, rate and channels
/// from the first stream that plays, unless its stream's physical format was set before; everything
/// else is converted. Whole cycles in which no client had anything to play are omitted at the front
/// and end of the file and written in between.
/// A file holds PCM or bursts, whichever was played first, and refuses the other: a unit with
/// kAudioUnitErr_FormatNotSupported, also reported by failureOf(), an AC-3 format with
/// kAudioHardwareIllegalOperationError.
struct DeviceTotals {
  std::uint64_t cycles = 0;
  std::uint64_t framesPlayed = 0;     // delivered to the driver, including silence
  std::uint64_t framesHeard = 0;      // of these, played by now; a lower bound
  std::uint64_t framesDiscarded = 0;  // of these, dropped before they were played
  std::uint64_t framesWritten = 0;    // frames in a file so far; 0 on other devices
  std::uint64_t lateCycles = 0;       // ended more than a cycle after they were due
  std::uint64_t underruns = 0;        // times a server or a PCM ran out of data
  std::uint32_t latencyFrames = 0;    // from delivery to playback, by the last cycles
  std::uint64_t burstCycles = 0;      // with a stream in an AC-3 format: 1536 frames each
  std::uint64_t bursts = 0;           // of these, those with more than zeros
  /// Status of the last start; e.g. kAudioDevicePermissionsError if another program holds the
  /// device. Kept because callers of the C calls often ignore it.
  OSStatus startStatus = noErr;
  /// Clock drift in ppm against host time, positive if faster than nominal. Accurate to about 10
  /// ppm after 20 s of playback on a sound server, better with time. Empty for the first 5 s, and
  /// for devices whose clock is not measured.
  std::optional<double> driftPpm{};
};
/// Cheap. [any-thread]
DeviceTotals totalsOf(AudioDeviceID device);

struct BurstViolation {
  std::uint64_t burst;  // 1 for the first one that the device received
  std::string reason;
};

/// The validation of the bursts that a file device received. Each must be one undamaged AC-3 frame
/// at the device's rate, packed as in IEC 61937, at the start of a cycle. Faulty ones are written
/// nevertheless.
struct BurstReport {
  std::uint64_t bursts = 0;
  std::uint64_t pauses = 0;           // cycles of zeros between two bursts
  std::uint64_t violations = 0;       // faulty bursts
  std::vector<BurstViolation> first;  // the first 16, each with its first fault
};
/// Call before detach(). Empty for devices that do not validate what they receive. [any-thread]
BurstReport burstsOf(AudioDeviceID device);

/// Called on the I/O thread after every render callback; must not allocate, lock or do I/O. One
/// observer per process; null removes it. setRenderObserver() waits for calls in progress, so it
/// must not be called from an observer.
struct RenderRecord {
  AudioDeviceID device;
  std::uint32_t frames;
  bool silent;  // the callback failed, gave no data, or flagged it as silence
};
using RenderObserver = void (*)(void* context, const RenderRecord& record);
void setRenderObserver(RenderObserver observer, void* context);

}  // namespace AudioDevices
