// SPDX-License-Identifier: MIT

#include "player/device/Passthrough.h"

#include <AudioDevices/Formats.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <string_view>

#include "ac3/FrameHeader.h"
#include "player/base/StreamFormat.h"

namespace Player {

namespace {

std::string nameOf(const std::string& codec) {
  return codec == "eac3" ? "E-AC-3" : codec == "dts" ? "DTS" : codec;
}

}  // namespace

std::string refusalOf(const AudioStreamBasicDescription& format,
                      std::optional<std::uint32_t> rate) {
  if (!AudioDevices::isAc3Bursts(format)) {
    return format.mFormatID == kAudioFormatLinearPCM ? "PCM only" : "not AC-3";
  }
  const std::uint32_t channels = burstsAt(0).channels;
  if (format.mChannelsPerFrame != channels) {
    return fmt::format("{} channels (IEC 61937 needs {})", format.mChannelsPerFrame, channels);
  }
  if (rate ? format.mSampleRate != *rate
           : std::none_of(Ac3::kRates.begin(), Ac3::kRates.end(),
                          [&](std::uint32_t each) { return format.mSampleRate == each; })) {
    return rate ? fmt::format("{} Hz (the input has {} Hz)", format.mSampleRate, *rate)
                : fmt::format("{} Hz (AC-3 needs 32000, 44100 or 48000 Hz)", format.mSampleRate);
  }
  return "";
}

std::string refusalOf(const CodecInfo& coding) {
  return coding.codec == "ac3" ? "" : "the input is " + nameOf(coding.codec) + ", not AC-3";
}

std::string refusalOf(const CodecInfo& coding, const AudioDevices::DeviceDescription& device) {
  if (std::string reason = refusalOf(coding); !reason.empty()) {
    return reason;
  }
  bool offersAc3 = false;
  for (const AudioDevices::StreamDescription& stream : device.streams) {
    for (const AudioStreamRangedDescription& offer : stream.availableFormats) {
      if (refusalOf(offer.mFormat, coding.rate).empty()) {
        return "";
      }
      offersAc3 = offersAc3 || AudioDevices::isAc3Bursts(offer.mFormat);
    }
  }
  return offersAc3 ? fmt::format("{} offers AC-3, but not at {} Hz in 2 channels", device.name,
                                 coding.rate)
                   : device.name + " offers no AC-3 format";
}

bool isForReceivers(const CodecInfo& coding) {
  constexpr std::array<std::string_view, 4> kForReceivers = {"ac3", "eac3", "dts", "truehd"};
  return std::find(kForReceivers.begin(), kForReceivers.end(), coding.codec) != kForReceivers.end();
}

}  // namespace Player
