#pragma once

/// Interleaved double samples at another rate, in step: output frame k lies exactly at input time
/// k × input rate ÷ output rate, with no delay in front. The price is a look-ahead: the first
/// request asks for some frames more than it gives back. Everything is allocated at construction.

#include <cstdint>
#include <memory>
#include <vector>

struct SwrContext;

namespace Platform {

class Resampler {
 public:
  /// Throws std::runtime_error when the library refuses, std::bad_alloc.
  Resampler(std::uint32_t inputRate, std::uint32_t outputRate, std::uint32_t channels,
            std::uint32_t maxOutputFrames);
  ~Resampler();
  Resampler(const Resampler&) = delete;
  Resampler& operator=(const Resampler&) = delete;

  /// Input frames that convert() needs for the next `outputFrames`. [io-thread]
  std::uint32_t inputFor(std::uint32_t outputFrames) const;

  /// The largest answer of inputFor().
  std::uint32_t maxInputFrames() const { return m_maxInputFrames; }

  /// Takes inputFor(outputFrames) frames, gives outputFrames. [io-thread]
  void convert(const double* input, double* output, std::uint32_t outputFrames);

  /// How many frames of silent input leave nothing of earlier sound.
  std::uint32_t memoryFrames() const { return 2 * m_lookAhead; }

 private:
  std::uint64_t inputPosition(std::uint64_t outputFrames) const;
  void prime();
  std::uint32_t feed(const double* input, std::uint32_t inputFrames, double* output,
                     std::uint32_t outputFrames);

  struct Free {
    void operator()(SwrContext* context) const;
  };
  const std::uint32_t m_inputRate;
  const std::uint32_t m_outputRate;
  const std::uint32_t m_channels;
  const std::uint32_t m_maxOutputFrames;
  std::unique_ptr<SwrContext, Free> m_context;
  std::uint32_t m_lookAhead = 0;  // input frames
  std::uint32_t m_maxInputFrames = 0;
  std::uint32_t m_framesToDrop = 0;  // output frames of the priming silence still to come
  std::uint64_t m_framesIn = 0;
  std::uint64_t m_framesOut = 0;
  std::vector<double> m_dropped;  // where they go
};

}  // namespace Platform
