// SPDX-License-Identifier: MIT

#pragma once

/// The resampler based on libswresample. Allocates everything at construction.

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/format/Resampler.h"

struct SwrContext;

namespace Platform {

class SwResampler final : public Resampler {
 public:
  /// Throws std::runtime_error if the library refuses, std::bad_alloc.
  SwResampler(std::uint32_t inputRate, std::uint32_t outputRate, std::uint32_t channels,
              std::uint32_t maxOutputFrames);
  SwResampler(const SwResampler&) = delete;
  SwResampler& operator=(const SwResampler&) = delete;

  std::uint32_t inputFor(std::uint32_t outputFrames) const TAVRO_NONBLOCKING override;
  std::uint32_t maxInputFrames() const override { return m_maxInputFrames; }
  void convert(const double* input, double* output,
               std::uint32_t outputFrames) TAVRO_NONBLOCKING override;
  std::uint32_t memoryFrames() const TAVRO_NONBLOCKING override { return 2 * m_lookAhead; }

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
  std::uint32_t m_framesToDrop = 0;  // output frames of the priming silence still inside
  std::uint64_t m_framesIn = 0;
  std::uint64_t m_framesOut = 0;
  std::vector<double> m_dropped;  // receives them
};

}  // namespace Platform
