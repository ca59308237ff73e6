// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

namespace Player {

/// The totals of all devices that a run has used. [host-thread]
class RunTotals {
 public:
  /// Counts on this device from now on.
  void moveTo(AudioDeviceID device);

  /// Returns the sums of the counts; all other fields are the present device's.
  AudioDevices::DeviceTotals sum() const;

 private:
  AudioDeviceID m_device = kAudioObjectUnknown;
  AudioDevices::DeviceTotals m_atFirst;   // of m_device, when it was selected
  AudioDevices::DeviceTotals m_onOthers;  // of the devices used before
};

}  // namespace Player
