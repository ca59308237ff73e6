#pragma once

/// What a program on this platform layer needs beside the audio service's own calls: which devices
/// there are, a file as a device, what went wrong on a device, and what a device was given.
/// [host-thread] unless said otherwise; no call is for a real-time thread.
///
/// Everything that plays on one device at the same time is added up, clipped at full scale in
/// integer formats. A unit leaves streams in AC-3 formats alone. The default output device is the
/// one that was set, while it is there, else the one attached first, else what the sound server has
/// for its default at the moment; units move with it unless their device was set. Setting it is
/// local to the process: the server is not changed.
///
/// A sink of a sound server (PulseAudio, PipeWire) is the device `pulse:NAME`. The server's library
/// is loaded by the first list(), or attach() of such a name, and sinks are known from then on.
/// They play in real time only.
///
/// A PCM of ALSA is the device `alsa:NAME`, NAME as in ALSA's configuration; libasound is loaded by
/// attach() of such a name, or listAlsa(). It is opened for a moment by attach(), and while
/// something plays; it takes the channels, samples and rate of the first unit that plays, as far as
/// it can, unless a format was set. They play in real time only.
///
/// A device that is gone (its sink removed, its stream ended by the server, the server gone, its
/// plug pulled) is not alive, its units are silent, and failureOf() tells why until detach(), or
/// until the next one of its name is lost.

#include <CoreAudio/CoreAudio.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace AudioDevices {

/// An error told to a person: a sentence that names the thing and the remedy, and the status that
/// goes with it. Status 0: no error.
struct Failure {
  OSStatus status = noErr;
  std::string message;
  explicit operator bool() const { return status != noErr; }
};

/// A status in words: its four characters where it has some, and its number.
std::string statusText(OSStatus status);

struct StreamDescription {
  AudioStreamID id;
  AudioStreamBasicDescription currentFormat;
  std::vector<AudioStreamRangedDescription> availableFormats;
};

struct DeviceDescription {
  AudioDeviceID id;
  std::string identifier;  // what attach() takes; of a file its absolute path
  std::string name;
  bool isDefault;
  double sampleRate;
  std::uint32_t latencyFrames;            // from being handed over to being heard, at the moment
  std::vector<AudioChannelLabel> labels;  // one per channel, in device order
  std::vector<StreamDescription> streams;
};

/// All devices that are there now: the sound server's, and the attached ones. Waits for the server
/// for 2 s at most, or twice that while it is being called again. `*noServer`: why there is none,
/// in one line.
std::vector<DeviceDescription> list(Failure* noServer = nullptr);

/// One of them, or one that is lost; `id` is kAudioObjectUnknown when it is not known. Asks nobody.
/// [any-thread]
DeviceDescription describe(AudioDeviceID device);

/// What attach() takes besides, and what its configuration says of it. Nobody has opened it, so its
/// rate and its channels are not known.
struct AttachableDevice {
  std::string identifier;
  std::string name;
};
/// ALSA's PCMs that are meant to be chosen by a person. `*noAlsa`: why there are none to be had, in
/// one line. Waits for libasound for 3 s at most.
std::vector<AttachableDevice> listAlsa(Failure* noAlsa = nullptr);

/// What this process plays, as the mixer of a sound server shows it.
struct StreamName {
  std::string name;
  std::string title{};
  std::string file{};
  bool operator==(const StreamName&) const = default;
};
/// Names the streams of this process, those that play now included. Without a server the name is
/// kept until there is one. [host-thread]
void setStreamName(const StreamName& name);

/// What a file device is to be, besides its path.
struct AttachOptions {
  /// A WAV file's stream offers AC-3 formats beside PCM; the file then holds bursts dressed as 16
  /// bit stereo, as receivers play them. A .spdif file always does, and takes nothing else.
  bool offersBursts = false;
  /// How much faster than nominal the device's clock is; -100000 to 100000.
  int partsPerMillion = 0;
};

/// Makes the device named by `identifier` known and answers its object; the same identifier gives
/// the same object, as it was first attached. `file:PATH` is a file that is created, or emptied, at
/// once, so that a path that cannot be written is known here: raw AC-3 bursts where PATH ends in
/// .spdif, else WAV. kAudioObjectUnknown, with `*failure` filled: no such device, it cannot be
/// opened, or an option is out of range.
AudioDeviceID attach(const std::string& identifier, Failure* failure,
                     const AttachOptions& options = {});

/// Ends the device: a file is completed and closed. Answers the first failure of its whole life. A
/// program that exits without it leaves a complete file, but hears of no failure.
/// The device's object is gone afterwards; units that play on it fall silent.
Failure detach(AudioDeviceID device);

/// Lets a file end with the last frame of sound: takes back up to `frames` frames from the end of
/// the last cycle that was not silent, as only the client knows what it filled up with zeros. More
/// sound after it makes them part of the gap. No effect on other devices.
void trimEnd(AudioDeviceID device, std::uint32_t frames);

/// What went wrong (a full disk, a folder that vanished, a refused start, …): the first failure
/// since attach(), or, of a device that sounds, the last one until it plays again. Cheap: meant
/// to be asked every few milliseconds.
Failure failureOf(AudioDeviceID device);

/// For a file device: cycles come as fast as they are taken in simulated time and by the clock in
/// real time. What the file holds follows the first stream that plays on it (sample type, rate,
/// channels) unless the physical format of its stream was set before; then everything is converted
/// to that. Whole cycles that were silent because nothing was there to play are left out at the
/// file's front and end and written in between.
/// A file holds PCM or bursts, whichever was played first, and refuses the other: a unit with
/// kAudioUnitErr_FormatNotSupported, which is also told by failureOf(), an AC-3 format by its
/// status.
struct DeviceTotals {
  std::uint64_t cycles = 0;
  std::uint64_t framesPlayed = 0;     // handed to the driver, silence included
  std::uint64_t framesHeard = 0;      // of these, by now; at least so many
  std::uint64_t framesDiscarded = 0;  // of these, taken back before they were heard
  std::uint64_t framesWritten = 0;    // a file's frames so far; 0 on other devices
  std::uint64_t lateCycles = 0;       // began more than a cycle after they were due
  std::uint64_t underruns = 0;        // times when a server or a PCM had nothing left to play
  std::uint32_t latencyFrames = 0;    // from being handed over to being heard, by the last cycles
  std::uint64_t burstCycles = 0;      // with a stream in an AC-3 format: 1536 frames each
  std::uint64_t bursts = 0;           // of these, the ones that were given more than zeros
  /// Of the last start: noErr, or why nobody plays, as kAudioDevicePermissionsError where another
  /// program has taken the device. Callers of the C calls do not always look.
  OSStatus startStatus = noErr;
  /// How much faster than nominal the device's clock is against host time, as measured while it
  /// played: within some 10 after 20 s on a sound server, and the better the longer. Nothing before
  /// 5 s, and on devices whose clock is not asked.
  std::optional<double> driftPpm{};
};
/// Cheap. [any-thread]
DeviceTotals totalsOf(AudioDeviceID device);

struct BurstViolation {
  std::uint64_t burst;  // 1: the first that the device was given
  std::string reason;
};

/// What a file device found in the bursts it was given: each must be one undamaged AC-3 frame of
/// the device's rate, packed as IEC 61937 says, at the beginning of a cycle. Faulty ones are
/// written all the same.
struct BurstReport {
  std::uint64_t bursts = 0;
  std::uint64_t pauses = 0;           // cycles of zeros between two bursts
  std::uint64_t violations = 0;       // faulty bursts
  std::vector<BurstViolation> first;  // of them, with what was noticed first; at most 16
};
/// To be asked before detach(). Empty on devices that take what they are given unseen. [any-thread]
BurstReport burstsOf(AudioDeviceID device);

/// Hears of every call of a render callback, right after it, on the I/O thread: no allocation, no
/// lock, no I/O in it. One observer a process; null takes it away, and returns only when no call of
/// the former one is under way.
struct RenderRecord {
  AudioDeviceID device;
  std::uint32_t frames;
  bool silent;  // the callback said that all it gave is silence
};
using RenderObserver = void (*)(void* context, const RenderRecord& record);
void setRenderObserver(RenderObserver observer, void* context);

}  // namespace AudioDevices
