// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstring>

namespace Platform {

/// Copies one channel's samples bit for bit between two interleaved buffers. The sample size is a
/// constant in the loop, which makes it a plain load and store.
template <std::size_t kSampleBytes>
void copyChannel(const std::byte* in, std::size_t inFrameBytes, std::byte* out,
                 std::size_t outFrameBytes, std::size_t frames) {
  for (std::size_t frame = 0; frame < frames; ++frame) {
    std::memcpy(out + frame * outFrameBytes, in + frame * inFrameBytes, kSampleBytes);
  }
}

inline void copyChannel(std::size_t sampleBytes, const std::byte* in, std::size_t inFrameBytes,
                        std::byte* out, std::size_t outFrameBytes, std::size_t frames) {
  switch (sampleBytes) {
    case 1:
      return copyChannel<1>(in, inFrameBytes, out, outFrameBytes, frames);
    case 2:
      return copyChannel<2>(in, inFrameBytes, out, outFrameBytes, frames);
    case 3:
      return copyChannel<3>(in, inFrameBytes, out, outFrameBytes, frames);
    default:
      return copyChannel<4>(in, inFrameBytes, out, outFrameBytes, frames);
  }
}

}  // namespace Platform
