// SPDX-License-Identifier: MIT

#include "platform/device/DeviceState.h"

#include <algorithm>

#include "platform/iec61937/BurstFormat.h"

namespace Platform {
namespace {

bool isAlike(const DriverStream& one, const DriverStream& other) {
  return isSame(one.format, other.format) && one.oddBufferBytes == other.oddBufferBytes &&
         one.withoutMemory == other.withoutMemory;
}

}  // namespace

double DeviceState::sampleRate() const {
  const auto& streams = description.streams;
  const auto bursts = std::ranges::find_if(streams, isBurstFormat, &DriverStream::format);
  const auto leading = bursts != streams.end() ? bursts : streams.begin();
  return leading != streams.end() ? leading->format.mSampleRate : 0.0;
}

double DeviceState::nominalRate() const {
  return description.nominalRate > 0 ? description.nominalRate : sampleRate();
}

std::uint32_t DeviceState::channels() const {
  std::uint32_t count = 0;
  for (const DriverStream& stream : description.streams) {
    count += parsePcm(stream.format) ? stream.format.mChannelsPerFrame : 0;
  }
  return count;
}

std::uint32_t DeviceState::cycleFrames() const {
  const bool bursts =
      std::ranges::any_of(description.streams, isBurstFormat, &DriverStream::format);
  return bursts ? kBurstFrames : description.cycleFrames;
}

std::size_t bufferBytes(const DriverStream& stream, std::uint32_t frames) TAVRO_NONBLOCKING {
  if (stream.oddBufferBytes) {
    return *stream.oddBufferBytes;
  }
  return isBurstFormat(stream.format) ? kBurstBytes
                                      : std::size_t{frames} * stream.format.mBytesPerFrame;
}

bool playsAlike(const DriverDescription& one, const DriverDescription& other) {
  return std::ranges::equal(one.streams, other.streams, isAlike) && one.labels == other.labels &&
         one.cycleFrames == other.cycleFrames;
}

}  // namespace Platform
