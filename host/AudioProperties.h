// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

/// Base of the property records of all media types; holds no data.
class MediaProperties {
 public:
  MediaProperties() = default;
  MediaProperties(const MediaProperties&) = default;
  MediaProperties& operator=(const MediaProperties&) = default;
  virtual ~MediaProperties() = default;
};

/// What a host writes to an audio port: the format of the stream that follows.
class AudioProperties : public MediaProperties {
 public:
  std::uint32_t m_sampleRate = 0;  // frames per second
  std::uint32_t m_channels = 0;
  std::uint32_t m_bitsPerSample = 0;
};

}  // namespace Tavro
