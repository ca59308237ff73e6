// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <string>

#include "player/base/Options.h"
#include "player/device/Device.h"
#include "player/source/Playlist.h"

namespace Player {

/// How the inputs are played on the present device: which of them pass through unmodified, and how
/// many channels the others may have. [host-thread]
class StreamPlan {
 public:
  StreamPlan(const Options& options, const DeviceChoice& choice, const Device& device,
             Playlist& playlist);

  /// Decides which inputs pass through, and logs why others do not. Throws PlayerError if bursts
  /// are required and the device does not accept an input.
  void planPassthrough();

  /// Limits the decoded inputs to the device's channels. Call after planPassthrough().
  void planChannels();

  /// Call before each stream; isOutdated() is about that one.
  void beginStream(const StreamFormat& format);

  /// Returns whether a device change affects passthrough, or a new device's channel count the mix.
  bool isOutdated() const;

  /// Decodes all inputs, and AC-3 on this device from now on: it rejected bursts that it offers.
  void decodeAll();

 private:
  std::string reasonToDecode(const CodecInfo& coding,
                             const AudioDevices::DeviceDescription& device) const;
  void decodeInstead(const std::string& path, const CodecInfo& coding,
                     const std::string& reason) const;

  const Options& m_options;
  const DeviceChoice& m_choice;
  const Device& m_device;
  Playlist& m_playlist;
  AudioDeviceID m_refusesBursts = kAudioObjectUnknown;  // despite offering them
  AudioDeviceID m_plannedDevice = kAudioObjectUnknown;
  std::size_t m_plannedChannels = 0;  // of m_plannedDevice
  std::size_t m_streamChannels = 0;   // of the current stream; 0 for bursts
  bool m_isMixedDown = false;         // an input has more channels than the device
};

}  // namespace Player
