// SPDX-License-Identifier: MIT

#include "platform/format/PcmFormat.h"

#include <cmath>
#include <tuple>

namespace Platform {
namespace {

constexpr double kLowestRate = 1000;
constexpr double kHighestRate = 768000;

std::optional<SampleType> sampleTypeOf(const AudioStreamBasicDescription& description) {
  const bool isFloat = (description.mFormatFlags & kAudioFormatFlagIsFloat) != 0;
  const bool isSigned = (description.mFormatFlags & kAudioFormatFlagIsSignedInteger) != 0;
  if (isFloat == isSigned) {
    return {};
  }
  if (isFloat) {
    return description.mBitsPerChannel == 32 ? std::optional(SampleType::F32) : std::nullopt;
  }
  switch (description.mBitsPerChannel) {
    case 8:
      return SampleType::S8;
    case 16:
      return SampleType::S16;
    case 24:
      return SampleType::S24;
    case 32:
      return SampleType::S32;
    default:
      return {};
  }
}

bool isPlayableRate(double rate) {
  return rate >= kLowestRate && rate <= kHighestRate && rate == std::floor(rate);
}

}  // namespace

std::uint32_t SampleFormat::bytes() const TAVRO_NONBLOCKING {
  switch (type) {
    case SampleType::S8:
      return 1;
    case SampleType::S16:
      return 2;
    case SampleType::S24:
      return 3;
    case SampleType::S32:
    case SampleType::F32:
      return 4;
  }
  return 0;
}

SampleFormat backendSample(SampleFormat sample) {
  return {.type = sample.type == SampleType::S8 ? SampleType::S16 : sample.type,
          .bigEndian = false};
}

std::optional<PcmFormat> parsePcm(const AudioStreamBasicDescription& description) {
  const AudioFormatFlags flags = description.mFormatFlags;
  const auto type = sampleTypeOf(description);
  if (description.mFormatID != kAudioFormatLinearPCM || !type ||
      (flags & kAudioFormatFlagIsPacked) == 0 || (flags & kAudioFormatFlagIsNonInterleaved) != 0 ||
      description.mChannelsPerFrame == 0 || description.mChannelsPerFrame > kMaxChannels ||
      !isPlayableRate(description.mSampleRate)) {
    return {};
  }
  const bool swapped = (flags & kAudioFormatFlagIsBigEndian) != 0 && *type != SampleType::S8;
  const PcmFormat format{.sample = {.type = *type, .bigEndian = swapped},
                         .channels = description.mChannelsPerFrame,
                         .rate = static_cast<std::uint32_t>(description.mSampleRate)};
  if (description.mFramesPerPacket != 1 || description.mBytesPerFrame != format.bytesPerFrame() ||
      description.mBytesPerPacket != format.bytesPerFrame()) {
    return {};
  }
  return format;
}

AudioStreamBasicDescription describePcm(const PcmFormat& format) {
  AudioStreamBasicDescription description{};
  description.mSampleRate = format.rate;
  description.mFormatID = kAudioFormatLinearPCM;
  description.mFormatFlags = kAudioFormatFlagIsPacked;
  description.mFormatFlags |= format.sample.type == SampleType::F32
                                  ? kAudioFormatFlagIsFloat
                                  : kAudioFormatFlagIsSignedInteger;
  if (format.sample.bigEndian) {
    description.mFormatFlags |= kAudioFormatFlagIsBigEndian;
  }
  description.mBytesPerPacket = format.bytesPerFrame();
  description.mFramesPerPacket = 1;
  description.mBytesPerFrame = format.bytesPerFrame();
  description.mChannelsPerFrame = format.channels;
  description.mBitsPerChannel = 8 * format.sample.bytes();
  return description;
}

bool isSame(const AudioStreamBasicDescription& left, const AudioStreamBasicDescription& right) {
  const auto fields = [](const AudioStreamBasicDescription& format) {
    return std::tie(format.mSampleRate, format.mFormatID, format.mFormatFlags,
                    format.mBytesPerPacket, format.mFramesPerPacket, format.mBytesPerFrame,
                    format.mChannelsPerFrame, format.mBitsPerChannel, format.mReserved);
  };
  return fields(left) == fields(right);
}

}  // namespace Platform
