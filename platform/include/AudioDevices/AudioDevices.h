#pragma once

/// What a program on this platform layer needs beside the audio service's own calls: which devices
/// there are, a file as a device, what went wrong on a device, and what a device was given.
/// [host-thread] unless said otherwise; no call is for a real-time thread.
///
/// Everything that plays on one device at the same time is added up, clipped at full scale in
/// integer formats. A unit leaves streams in AC-3 formats alone. The default output device is the
/// one that was set, while it is there, else the one attached first.

#include <CoreAudio/CoreAudio.h>

#include <cstdint>
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
  std::vector<AudioChannelLabel> labels;  // one per channel, in device order
  std::vector<StreamDescription> streams;
};

/// All devices known now, the attached ones included.
std::vector<DeviceDescription> list();

/// Makes the device named by `identifier` known and answers its object; the same identifier gives
/// the same object. `file:PATH` is a WAV file that is created, or emptied, at once, so that a path
/// that cannot be written is known here. kAudioObjectUnknown, with `*failure` filled: no such
/// device, or it cannot be opened.
AudioDeviceID attach(const std::string& identifier, Failure* failure);

/// Ends the device: a file is completed and closed. Answers the first failure of its whole life. A
/// program that exits without it leaves a complete file, but hears of no failure.
/// The device's object is gone afterwards; units that play on it fall silent.
Failure detach(AudioDeviceID device);

/// The first failure since attach() (a full disk, a folder that vanished, …); sticky. Cheap: meant
/// to be asked every few milliseconds.
Failure failureOf(AudioDeviceID device);

/// For a file device: cycles come as fast as they are taken in simulated time and by the clock in
/// real time. What the file holds follows the first stream that plays on it (sample type, rate,
/// channels) unless the physical format of its stream was set before; then everything is converted
/// to that. Whole cycles that were silent because nothing was there to play are left out at the
/// file's front and end and written in between.
struct DeviceTotals {
  std::uint64_t cycles = 0;
  std::uint64_t framesPlayed = 0;   // handed to the driver, silence included
  std::uint64_t framesWritten = 0;  // a file's frames so far; 0 on other devices
  std::uint64_t lateCycles = 0;     // began more than a cycle after they were due
};
DeviceTotals totalsOf(AudioDeviceID device);

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
