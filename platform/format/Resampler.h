// SPDX-License-Identifier: MIT

#pragma once

/// Resamples interleaved doubles in phase: output frame k lies exactly at input time k × input rate
/// ÷ output rate, with no initial delay. The price is look-ahead: the first request needs some
/// extra input frames.
///
/// The library used depends on many others, so it is in a module that is loaded when two rates
/// first differ.

#include <cstdint>
#include <memory>

#include "locks/NonBlocking.h"

namespace Platform {

class Resampler {
 public:
  virtual ~Resampler() = default;

  /// Returns the input frames that convert() needs for the next `outputFrames`. [io-thread]
  virtual std::uint32_t inputFor(std::uint32_t outputFrames) const TAVRO_NONBLOCKING = 0;

  /// Returns the largest result of inputFor().
  virtual std::uint32_t maxInputFrames() const = 0;

  /// Reads inputFor(outputFrames) frames, writes outputFrames; does not allocate. [io-thread]
  virtual void convert(const double* input, double* output,
                       std::uint32_t outputFrames) TAVRO_NONBLOCKING = 0;

  /// Returns how many frames of silent input flush out all earlier sound.
  virtual std::uint32_t memoryFrames() const TAVRO_NONBLOCKING = 0;
};

/// Handles requests of up to `maxOutputFrames`. Throws std::runtime_error if the library is missing
/// or refuses, std::bad_alloc. [host-thread]
std::unique_ptr<Resampler> makeResampler(std::uint32_t inputRate, std::uint32_t outputRate,
                                         std::uint32_t channels, std::uint32_t maxOutputFrames);

/// The module's entry; the caller owns the resampler. Throws like makeResampler().
using NewResampler = Resampler*(std::uint32_t inputRate, std::uint32_t outputRate,
                                std::uint32_t channels, std::uint32_t maxOutputFrames);
inline constexpr const char* kResamplerModule = "libCoreAudio_Resampler.so";
inline constexpr const char* kResamplerEntry = "newResampler";

}  // namespace Platform
