// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include <functional>
#include <string>
#include <vector>

#include "player/base/Options.h"
#include "player/base/StreamFormat.h"

namespace Player {

/// Which device to play on, in real or simulated time.
struct DeviceChoice {
  std::string identifier;
  bool isFile = false;
  bool simulated = false;
  bool isBurstFile = false;  // accepts bursts only
  std::string replaces{};    // the existing file that will be replaced; empty: none
  AudioDevices::AttachOptions attach{};
  bool followsDefault = false;  // playback moves with the default output device
};

/// The device used if none is named: the sink that PULSE_SINK names, else the sound server's
/// default sink, else ALSA's default device if it can be opened.
struct SoundingDevice {
  std::string identifier;  // empty: none
  bool isServers = false;
  std::string reason{};    // why it is not the server's, or why there is none
  bool isDefault = false;  // the server's default, which playback follows
};
SoundingDevice soundingDevice();  // throws PlayerError if PULSE_SINK names an unknown sink

/// Calls `sounding` if no device is named. Throws PlayerError (usage) if the output is one of the
/// inputs, if simulated time is requested for another device than a file, or if the file's name has
/// the extension of a format that is not written.
DeviceChoice chooseDevice(const Options& options,
                          const std::function<SoundingDevice()>& sounding = soundingDevice);

/// Returns one file format for all streams: rate and channels of the first stream, unless
/// --channels is given, and the widest sample type.
StreamFormat fileFormatFor(const std::vector<StreamFormat>& formats, const Options& options);

}  // namespace Player
