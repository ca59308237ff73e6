#pragma once

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <string>
#include <vector>

#include "player/Options.h"
#include "player/StreamFormat.h"

namespace Player {

/// Which device to play on, and in which time.
struct DeviceChoice {
  std::string identifier;
  bool isFile = false;
  bool simulated = false;
  bool isBurstFile = false;  // it takes nothing else
  AudioDevices::AttachOptions attach{};
  bool followsDefault = false;  // plays on whatever the default output device is at the moment
};

/// Throws PlayerError (usage) for what makes no sense: an input as the output, simulated time on a
/// device that sounds.
DeviceChoice chooseDevice(const Options& options);

/// The shape in which a file holds all the streams: exactly, as far as one shape can.
StreamFormat fileFormatFor(const std::vector<StreamFormat>& formats, const Options& options);

/// The device that sound goes to when none is named; empty, and why: there is none.
std::string soundingDevice(std::string& reason);

/// The attached device, which is the default output device while it lives; or the default output
/// device as it is, which may become another one on the way. All operations throw
/// PlayerError when the device has failed. [host-thread]
class Device {
 public:
  explicit Device(const DeviceChoice& choice);
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  /// What a file device is to hold. Before anything plays.
  void setFileFormat(const StreamFormat& format);

  AudioDevices::DeviceDescription describe() const;

  /// Gives every stream the format that it had at first, as far as the device allows: a component
  /// that could not start its passthrough leaves its stream switched. While nothing plays.
  void restoreFormats() const;

  void check() const;

  /// Why it did not start when it last was to; empty: it did.
  std::string startRefusal() const;

  /// How long what was handed over last takes until it is heard.
  std::uint64_t latencyNs() const;

  AudioDevices::DeviceTotals totals() const { return AudioDevices::totalsOf(current()); }
  AudioDevices::BurstReport burstReport() const { return AudioDevices::burstsOf(m_id); }

  /// That it has been given so far. [any-thread]
  std::uint64_t bursts() const { return AudioDevices::totalsOf(m_id).bursts; }

  /// How many frames will have been heard when all that was handed over by now has been; 0: this is
  /// not a device that sounds.
  std::uint64_t framesToHear() const;

  /// Completes a file.
  void close();

 private:
  AudioDeviceID current() const;
  void attach();

  const DeviceChoice m_choice;
  AudioDeviceID m_id = kAudioObjectUnknown;
  std::vector<AudioDevices::StreamDescription> m_streams;  // as they were at first
};

}  // namespace Player
