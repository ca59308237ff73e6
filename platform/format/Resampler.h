#pragma once

/// Interleaved double samples at another rate, in step: output frame k lies exactly at input time
/// k × input rate ÷ output rate, with no delay in front. The price is a look-ahead: the first
/// request asks for some frames more than it gives back.
///
/// The library that does it brings many others along; it is in a module that is loaded when two
/// rates first differ.

#include <cstdint>
#include <memory>

namespace Platform {

class Resampler {
 public:
  virtual ~Resampler() = default;

  /// Input frames that convert() needs for the next `outputFrames`. [io-thread]
  virtual std::uint32_t inputFor(std::uint32_t outputFrames) const = 0;

  /// The largest answer of inputFor().
  virtual std::uint32_t maxInputFrames() const = 0;

  /// Takes inputFor(outputFrames) frames, gives outputFrames; allocates nothing. [io-thread]
  virtual void convert(const double* input, double* output, std::uint32_t outputFrames) = 0;

  /// How many frames of silent input leave nothing of earlier sound.
  virtual std::uint32_t memoryFrames() const = 0;
};

/// For requests of at most `maxOutputFrames`. Throws std::runtime_error when there is no library or
/// it refuses, std::bad_alloc. [host-thread]
std::unique_ptr<Resampler> makeResampler(std::uint32_t inputRate, std::uint32_t outputRate,
                                         std::uint32_t channels, std::uint32_t maxOutputFrames);

/// The module's, of a resampler that is the caller's; throws the same.
using NewResampler = Resampler*(std::uint32_t inputRate, std::uint32_t outputRate,
                                std::uint32_t channels, std::uint32_t maxOutputFrames);
inline constexpr const char* kResamplerModule = "libCoreAudio_Resampler.so";
inline constexpr const char* kResamplerEntry = "newResampler";

}  // namespace Platform
