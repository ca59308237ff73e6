#pragma once

#include <AudioDevices/AudioDevices.h>

#include <functional>
#include <string>
#include <vector>

#include "player/base/Options.h"
#include "player/base/StreamFormat.h"

namespace Player {

/// Which device to play on, and in which time.
struct DeviceChoice {
  std::string identifier;
  bool isFile = false;
  bool simulated = false;
  bool isBurstFile = false;  // it takes nothing else
  std::string replaces{};    // the file whose place the written one takes; empty: there is none
  AudioDevices::AttachOptions attach{};
  bool followsDefault = false;  // plays on whatever the default output device is at the moment
};

/// The device that sound goes to when none is named: the sink that the user has set by PULSE_SINK,
/// else the default one of the sound server, else ALSA's, if it can be opened.
struct SoundingDevice {
  std::string identifier;  // empty: there is none
  bool isServers = false;
  std::string reason{};    // why it is not the server's, and why there is none
  bool isDefault = false;  // of the server, so that playback follows it
};
SoundingDevice soundingDevice();  // throws PlayerError: PULSE_SINK names no sink

/// Asks for the sounding device when none is named. Throws PlayerError (usage) for what makes no
/// sense: an input as the output, simulated time on a device that sounds, a file name that promises
/// a format which is not written.
DeviceChoice chooseDevice(const Options& options,
                          const std::function<SoundingDevice()>& sounding = soundingDevice);

/// The shape in which a file holds all the streams: exactly, as far as one shape can.
StreamFormat fileFormatFor(const std::vector<StreamFormat>& formats, const Options& options);

}  // namespace Player
