// SPDX-License-Identifier: MIT

#pragma once

#include <AudioDevices/AudioDevices.h>

#include <optional>
#include <string>
#include <vector>

#include "player/base/Options.h"
#include "player/media/MediaFile.h"

namespace Player {

/// What the reports on devices show, collected without playing. Both functions throw PlayerError.

struct DeviceSurvey {
  std::vector<AudioDevices::DeviceDescription> devices;  // with the file named as one
  std::vector<AudioDevices::AttachableDevice> unopened;  // ALSA's
  AudioDevices::Failure noServer;
  AudioDevices::Failure noAlsa;
};

struct PassthroughSurvey {
  struct Offer {
    AudioStreamRangedDescription format;
    std::string refusal;  // of the input, or of AC-3 if there is none; empty: accepted
  };
  struct Stream {
    AudioStreamID id;
    std::vector<Offer> offers;
  };
  struct Input {
    std::string path;
    CodecInfo coding;
    std::string refusal;  // of the device; empty: passed through
  };
  AudioDevices::DeviceDescription device;
  std::vector<Stream> streams;
  std::optional<Input> input;
};

DeviceSurvey surveyDevices(const Options& options);
PassthroughSurvey surveyPassthrough(const Options& options);

}  // namespace Player
