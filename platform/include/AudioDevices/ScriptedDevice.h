// SPDX-License-Identifier: MIT

#pragma once

/// For tests of programs that play through this layer, your own host for instance: a device that
/// plays into memory and is set up by the test, results and failures of the audio service's calls
/// at will, and a record of every call.
///
///   using namespace AudioDevices;
///   ScriptedDevice device({.streams = {{.format = pcmInteger(48000, 2, 16)}}});
///   device.makeDefault();
///   Script::failCall("AUGraphStart", 1, kAudioHardwareNotRunningError);
///   ... run the program ...
///   const auto cycle = device.cycle(512);
///   EXPECT_EQ(cycle.buffers[0], ...);
///   EXPECT_EQ(Script::leftovers(), Script::Leftovers{});
///
/// [any-thread] unless stated otherwise; nothing here may be called on a real-time thread.

#include <AudioDevices/Formats.h>
#include <AudioUnit/AudioUnit.h>
#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Platform {
class Device;
class ScriptedDriver;
}  // namespace Platform

namespace AudioDevices {

struct ScriptedStream {
  AudioStreamBasicDescription format;                    // initially
  std::vector<AudioStreamBasicDescription> available{};  // that can be set beside `format`
};

struct ScriptedSetup {
  std::string name = "scripted";  // the identifier is "scripted:NAME"; unique
  std::vector<ScriptedStream> streams;
  std::vector<AudioChannelLabel> labels{};  // empty: the usual ones for the channel count
  std::uint32_t cycleFrames = 512;
  std::uint32_t latencyFrames = 0;
  /// If true, cycles run by host time while something plays; otherwise only cycle() runs them.
  bool clocked = false;
  int clockPpm = 0;              // how much faster than nominal its clock runs
  std::size_t captureBytes = 0;  // kept of each stream of a clocked device
};

class ScriptedDevice {
 public:
  /// Throws std::invalid_argument if the name is in use.
  explicit ScriptedDevice(const ScriptedSetup& setup);
  ~ScriptedDevice();  // like disappear(); inside its own cycle the device stays until the process
                      // ends
  ScriptedDevice(const ScriptedDevice&) = delete;
  ScriptedDevice& operator=(const ScriptedDevice&) = delete;

  AudioDeviceID id() const;
  AudioStreamID stream(std::size_t index) const;
  void makeDefault();

  /// Runs one cycle of at most 4096 frames on the calling thread, or none if no client plays.
  struct Cycle {
    bool ran = false;
    bool silent = false;                             // no client had anything to play
    std::vector<std::vector<std::uint8_t>> buffers;  // one per stream, as played
  };
  Cycle cycle(std::uint32_t frames);

  /// Returns what a clocked device has played on a stream so far, up to `captureBytes`, without
  /// leading silent cycles.
  std::vector<std::uint8_t> captured(std::size_t stream) const;

  /// From the next cycle on, gives the stream's buffer this size, whatever is played, or no memory.
  /// Not inside a cycle of the device.
  void setBufferBytes(std::size_t stream, std::optional<std::uint32_t> bytes);
  void setBufferWithoutMemory(std::size_t stream, bool withoutMemory);

  /// Removes the device; its clients fall silent. Throws std::logic_error inside one of the
  /// device's own cycles.
  void disappear();

 private:
  std::shared_ptr<Platform::Device> m_device;
  Platform::ScriptedDriver* m_driver;  // owned by m_device
};

/// One script per process, for all exported functions of the audio service.
namespace Script {

/// What a property read returns in place of the real value. A buffer that is too small receives the
/// first bytes; the size returned is always that of `bytes`.
struct Answer {
  OSStatus status = noErr;
  std::vector<std::uint8_t> bytes{};
  std::optional<std::uint32_t> claimedBytes{};  // by the size query, if different
};

/// Sets the result of reads and size queries of this property from now on.
void answerObjectProperty(AudioObjectID object, AudioObjectPropertySelector selector,
                          Answer answer);
void answerUnitProperty(AudioUnitPropertyID property, Answer answer);

/// Makes the n-th call from now on (1: the next) of the function of this name ("": any) return
/// `status` without doing its work. AUGraphStop, AUGraphClose, DisposeAUGraph, AudioDeviceStop,
/// AudioDeviceDestroyIOProcID and AudioObjectRemovePropertyListener do theirs before.
void failCall(const std::string& function, std::uint64_t nth, OSStatus status);

/// Runs `hook` inside every call of the function of this name from now on, on the calling thread,
/// before the call's work and with no lock of the layer held. It may make calls of its own. An
/// empty hook removes it; a call under way may still run it.
void onCall(const std::string& function, std::function<void()> hook);

/// A recorded call. Arguments are in the function's order: pointers and handles as numbers, a
/// property address as its three parts (listener calls: its selector); qualifiers and values passed
/// as data are omitted.
struct Call {
  std::string function;
  std::vector<std::int64_t> arguments;
  std::vector<std::uint8_t> data;  // the new value of a property or parameter, or a description
  std::optional<OSStatus> status;  // empty: not returned yet
};

/// Starts recording. Calls are kept in the order in which they came in.
void record();
std::vector<Call> calls();

/// Clears results, failures, hooks and calls, and stops recording.
void reset();

/// What is currently registered with the layer.
struct Leftovers {
  std::size_t graphs = 0;
  std::size_t units = 0;
  std::size_t ioProcedures = 0;
  std::size_t runningDevices = 0;
  bool operator==(const Leftovers&) const = default;
};
Leftovers leftovers();

}  // namespace Script
}  // namespace AudioDevices
