// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "player/base/StreamFormat.h"
#include "player/device/DeviceChoice.h"
#include "player/device/RunTotals.h"

namespace Player {

/// The output: the chosen device, attached and made the default output, or else the current default
/// output. It may be lost during playback and return; meanwhile another device takes over, or none.
/// The constructor, setFileFormat(), check() and close() throw PlayerError. [host-thread]
class Device {
 public:
  /// Calls `onChange` on a thread of the platform when the default output changes.
  explicit Device(const DeviceChoice& choice, std::function<void()> onChange = {});
  ~Device();
  Device(const Device&) = delete;
  Device& operator=(const Device&) = delete;

  /// Sets the format of a file device. Call before anything plays.
  void setFileFormat(const StreamFormat& format);

  AudioDevices::DeviceDescription describe() const { return AudioDevices::describe(m_id); }

  /// Returns the channels that a component uses: as the plug-in counts them, the labelled ones, at
  /// most eight; two if none is labelled.
  std::uint32_t channels() const;

  /// Restores every stream's initial format as far as the device allows: a component that could not
  /// start passthrough leaves its stream switched. Call while nothing plays.
  void restoreFormats() const;

  /// Throws if the device has failed; a lost device is not a failure.
  void check() const;

  /// Returns a message if the device changed since the last call, otherwise an empty string.
  std::string news();

  /// State as of the last news(): a device is there and not stalled.
  bool plays() const { return m_isThere && !m_isStalled; }
  bool isThere() const { return m_isThere; }
  AudioDeviceID id() const { return m_id; }  // of the last device if there is none

  /// Returns why the last start failed, or an empty string.
  std::string startRefusal() const;

  /// Returns the time from handing over audio until it is heard; 0 for file devices.
  std::uint64_t latencyNs() const;

  /// Totals of all devices used so far.
  AudioDevices::DeviceTotals totals() const { return m_totals.sum(); }
  AudioDevices::BurstReport burstReport() const { return AudioDevices::burstsOf(m_id); }
  std::uint64_t bursts() const { return totals().bursts; }

  /// Returns the value that framesHeard() reaches once everything handed over so far is played; 0
  /// for file devices.
  std::uint64_t framesToHear() const;
  std::uint64_t cycles() const { return AudioDevices::totalsOf(m_id).cycles; }
  std::uint64_t framesHeard() const { return AudioDevices::totalsOf(m_id).framesHeard; }

  /// Removes the last `padding` frames of a file, unless its rate differs from the stream's `rate`.
  void endWithSound(std::uint32_t padding, std::uint32_t rate) const;

  /// Completes a file; does nothing on other devices.
  void close();

 private:
  void attach();
  void settleOn(AudioDeviceID id);
  std::string moveTo(AudioDeviceID id);
  static OSStatus onDefault(AudioObjectID object, UInt32 count,
                            const AudioObjectPropertyAddress* addresses, void* device);

  const DeviceChoice m_choice;
  const std::function<void()> m_onChange;
  AudioDeviceID m_id = kAudioObjectUnknown;
  std::string m_identifier;  // of m_id
  bool m_isThere = true;
  bool m_isStalled = false;
  std::vector<AudioDevices::StreamDescription> m_streams;  // as they were when m_id was selected
  RunTotals m_totals;
};

}  // namespace Player
