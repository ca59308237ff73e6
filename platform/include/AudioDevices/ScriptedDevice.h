#pragma once

/// For people who test a program that plays through this layer, their own host for instance: a
/// device that plays into memory and is what the test says, answers and failures of the audio
/// service's calls at will, and a record of every call.
///
///   AudioDevices::ScriptedDevice device({.streams = {{.format = AudioDevices::pcmInteger(48000, 2,
///   16)}}}); device.makeDefault(); AudioDevices::Script::failCall("AUGraphStart", 1,
///   kAudioHardwareNotRunningError);
///   ... run the program; give it cycles of 512 frames ...
///   auto cycle = device.cycle(512);
///   EXPECT_EQ(cycle.buffers[0], ...);
///   EXPECT_EQ(AudioDevices::Script::leftovers(), AudioDevices::Script::Leftovers{});
///
/// [any-thread] unless said otherwise; nothing here is for a real-time thread.

#include <AudioUnit/AudioUnit.h>
#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Platform {
class Device;
class ScriptedDriver;
}  // namespace Platform

namespace AudioDevices {

/// Packed, little-endian. `bits`: 8, 16, 24 or 32 for integers.
AudioStreamBasicDescription pcmInteger(double rate, std::uint32_t channels, std::uint32_t bits);
AudioStreamBasicDescription pcmFloat(double rate, std::uint32_t channels);

/// A stream of AC-3 bursts: 6144 bytes a cycle.
AudioStreamBasicDescription ac3Bursts(double rate, std::uint32_t channels,
                                      AudioFormatID formatId = kAudioFormat60958AC3);

struct ScriptedStream {
  AudioStreamBasicDescription format;                    // as the device appears
  std::vector<AudioStreamBasicDescription> available{};  // beside `format`; all can be set
};

struct ScriptedSetup {
  std::string name = "scripted";  // the identifier is "scripted:NAME"; unique
  std::vector<ScriptedStream> streams;
  std::vector<AudioChannelLabel> labels{};  // empty: the usual ones for so many channels
  std::uint32_t cycleFrames = 512;
  std::uint32_t latencyFrames = 0;
  /// False: cycles come from cycle() alone. True: by host time, while something plays.
  bool clocked = false;
  int partsPerMillion = 0;       // how much faster than nominal its clock is
  std::size_t captureBytes = 0;  // kept of what each stream plays by the clock
};

class ScriptedDevice {
 public:
  /// Throws std::invalid_argument for a name that is taken.
  explicit ScriptedDevice(const ScriptedSetup& setup);
  ~ScriptedDevice();  // as disappear(); inside its own cycle the device stays until the process
                      // ends
  ScriptedDevice(const ScriptedDevice&) = delete;
  ScriptedDevice& operator=(const ScriptedDevice&) = delete;

  AudioDeviceID id() const;
  AudioStreamID stream(std::size_t index) const;
  void makeDefault();

  /// One cycle on the calling thread, at most 4096 frames. With nobody playing none is run.
  struct Cycle {
    bool ran = false;
    bool silent = false;                             // nobody had anything to play
    std::vector<std::vector<std::uint8_t>> buffers;  // one per stream, as played
  };
  Cycle cycle(std::uint32_t frames);

  /// What a clocked device has played on a stream so far, up to `captureBytes`; whole cycles of
  /// silence in front are left out.
  std::vector<std::uint8_t> captured(std::size_t stream) const;

  /// From the next cycle on the stream's buffer is this large whatever is played, or has no memory.
  void setBufferBytes(std::size_t stream, std::optional<std::uint32_t> bytes);
  void setBufferWithoutMemory(std::size_t stream, bool withoutMemory);

  /// The device is gone. What plays on it falls silent. Throws std::logic_error inside one of the
  /// device's own cycles.
  void disappear();

 private:
  std::shared_ptr<Platform::Device> m_device;
  Platform::ScriptedDriver* m_driver;  // owned by m_device
};

/// One script a process, over all exported functions of the audio service.
namespace Script {

/// What a property read answers in place of the true value. For a read with a smaller buffer the
/// bytes are cut; the size answered is always that of `bytes`.
struct Answer {
  OSStatus status = noErr;
  std::vector<std::uint8_t> bytes{};
  std::optional<std::uint32_t> claimedBytes{};  // by the size query, when it is to differ
};

/// For reads and size queries of this property, from now on.
void answerObjectProperty(AudioObjectID object, AudioObjectPropertySelector selector,
                          Answer answer);
void answerUnitProperty(AudioUnitPropertyID property, Answer answer);

/// The n-th call from now on (1: the next) of the function of this name ("": of any function)
/// answers `status`. It does no work, except that AUGraphStop, AUGraphClose, DisposeAUGraph,
/// AudioDeviceStop and AudioDeviceDestroyIOProcID do theirs and answer the status nevertheless.
void failCall(const std::string& function, std::uint64_t nth, OSStatus status);

/// A call as it came in. Arguments stand in the function's order, pointers and handles as numbers,
/// a property address as its three parts; qualifiers, and values given as data, are left out.
struct Call {
  std::string function;
  std::vector<std::int64_t> arguments;
  std::vector<std::uint8_t> data;  // what a property, or the parameter, was to be set to
  std::optional<OSStatus> status;  // nothing: not returned yet
};

/// Calls are recorded from the first record() on, in the order in which they came in.
void record();
std::vector<Call> calls();

/// Forgets answers, failures and calls; nothing is recorded any more.
void reset();

/// What is registered with the layer at the moment.
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
