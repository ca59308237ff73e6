// SPDX-License-Identifier: MIT

#include <AudioDevices/Formats.h>

#include "platform/format/PcmFormat.h"
#include "platform/iec61937/BurstFormat.h"

namespace AudioDevices {
namespace {

AudioStreamBasicDescription pcm(double rate, std::uint32_t channels, std::uint32_t bits,
                                AudioFormatFlags kind) {
  const UInt32 frameBytes = channels * bits / 8;
  AudioStreamBasicDescription format{};
  format.mSampleRate = rate;
  format.mFormatID = kAudioFormatLinearPCM;
  format.mFormatFlags = kind | kAudioFormatFlagIsPacked;
  format.mBytesPerPacket = frameBytes;
  format.mFramesPerPacket = 1;
  format.mBytesPerFrame = frameBytes;
  format.mChannelsPerFrame = channels;
  format.mBitsPerChannel = bits;
  return format;
}

}  // namespace

AudioStreamBasicDescription pcmInteger(double rate, std::uint32_t channels, std::uint32_t bits) {
  return pcm(rate, channels, bits, kAudioFormatFlagIsSignedInteger);
}

AudioStreamBasicDescription pcmFloat(double rate, std::uint32_t channels) {
  return pcm(rate, channels, 32, kAudioFormatFlagIsFloat);
}

AudioStreamBasicDescription ac3Bursts(double rate, std::uint32_t channels, AudioFormatID formatId) {
  return Platform::describeBursts(rate, channels, formatId);
}

bool isAc3Bursts(const AudioStreamBasicDescription& format) {
  return Platform::isBurstFormat(format);
}

}  // namespace AudioDevices
