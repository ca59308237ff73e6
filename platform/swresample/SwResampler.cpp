// SPDX-License-Identifier: MIT

#include "platform/swresample/SwResampler.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libswresample/swresample.h>
}

#include <algorithm>
#include <numeric>
#include <stdexcept>

namespace Platform {
namespace {

SwrContext* makeContext(int inputRate, int outputRate, int channels) {
  AVChannelLayout layout{};
  layout.order = AV_CHANNEL_ORDER_UNSPEC;
  layout.nb_channels = channels;
  SwrContext* context = nullptr;
  if (swr_alloc_set_opts2(&context, &layout, AV_SAMPLE_FMT_DBL, outputRate, &layout,
                          AV_SAMPLE_FMT_DBL, inputRate, 0, nullptr) < 0) {
    throw std::runtime_error("no converter for these sample rates");
  }
  return context;
}

}  // namespace

void SwResampler::Free::operator()(SwrContext* context) const { swr_free(&context); }

SwResampler::SwResampler(std::uint32_t inputRate, std::uint32_t outputRate, std::uint32_t channels,
                         std::uint32_t maxOutputFrames)
    : m_inputRate(inputRate),
      m_outputRate(outputRate),
      m_channels(channels),
      m_maxOutputFrames(maxOutputFrames),
      m_context(makeContext(static_cast<int>(inputRate), static_cast<int>(outputRate),
                            static_cast<int>(channels))) {
  if (swr_init(m_context.get()) < 0) {
    throw std::runtime_error("the converter cannot be set up");
  }
  prime();
}

std::uint64_t SwResampler::inputPosition(std::uint64_t outputFrames) const {
  return (outputFrames * m_inputRate + m_outputRate - 1) / m_outputRate;
}

/// Runs silence through the library, so that its buffers grow to what the largest cycle needs, and
/// to measure its look-ahead. The silence ends on a frame that both rates share, so that what
/// follows starts in phase; the part still inside is dropped by the first convert().
void SwResampler::prime() {
  const auto ratio = inputPosition(1);
  const auto generousLookAhead = static_cast<std::uint32_t>(64 + 32 * ratio);
  const auto largestInput =
      static_cast<std::uint32_t>(inputPosition(m_maxOutputFrames)) + 2 * generousLookAhead;
  const auto room = static_cast<std::uint32_t>(
      (std::uint64_t{largestInput} * m_outputRate) / m_inputRate + m_maxOutputFrames + 64);
  m_dropped.assign(std::size_t{room} * m_channels, 0.0);
  const std::vector<double> silence(std::size_t{largestInput} * m_channels, 0.0);

  const std::uint64_t period = m_inputRate / std::gcd(m_inputRate, m_outputRate);
  const std::uint64_t total = (3 * std::uint64_t{largestInput} / period + 1) * period;
  std::uint64_t produced = feed(silence.data(), largestInput, m_dropped.data(), 1);
  for (std::uint64_t fed = largestInput; fed < total;) {
    const auto piece =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(largestInput, total - fed));
    produced += feed(silence.data(), piece, m_dropped.data(), room);
    fed += piece;
  }
  produced += feed(silence.data(), 0, m_dropped.data(), room);

  const std::uint64_t due = total / period * (period * m_outputRate / m_inputRate);
  m_framesToDrop = static_cast<std::uint32_t>(due - produced);
  m_lookAhead = static_cast<std::uint32_t>(inputPosition(m_framesToDrop) + ratio + 1);
  m_maxInputFrames = static_cast<std::uint32_t>(inputPosition(m_maxOutputFrames)) + m_lookAhead + 1;
}

std::uint32_t SwResampler::inputFor(std::uint32_t outputFrames) const TAVRO_NONBLOCKING {
  const std::uint64_t needed = inputPosition(m_framesOut + outputFrames) + m_lookAhead;
  return static_cast<std::uint32_t>(needed - std::min(needed, m_framesIn));
}

void SwResampler::convert(const double* input, double* output,
                          std::uint32_t outputFrames) TAVRO_NONBLOCKING {
  std::uint32_t inputFrames = inputFor(outputFrames);
  m_framesIn += inputFrames;
  m_framesOut += outputFrames;
  if (m_framesToDrop != 0) {
    TAVRO_CALLS_OUT(m_framesToDrop -= feed(input, inputFrames, m_dropped.data(), m_framesToDrop);)
    inputFrames = 0;
  }
  TAVRO_CALLS_OUT(const std::uint32_t given = feed(input, inputFrames, output, outputFrames);)
  std::fill(output + std::size_t{given} * m_channels,
            output + std::size_t{outputFrames} * m_channels, 0.0);
}

std::uint32_t SwResampler::feed(const double* input, std::uint32_t inputFrames, double* output,
                                std::uint32_t outputFrames) {
  const auto* in = reinterpret_cast<const std::uint8_t*>(input);
  auto* out = reinterpret_cast<std::uint8_t*>(output);
  const int given = swr_convert(m_context.get(), &out, static_cast<int>(outputFrames), &in,
                                static_cast<int>(inputFrames));
  return given < 0 ? 0 : static_cast<std::uint32_t>(given);
}

}  // namespace Platform

extern "C" Platform::Resampler* newResampler(std::uint32_t inputRate, std::uint32_t outputRate,
                                             std::uint32_t channels,
                                             std::uint32_t maxOutputFrames) {
  return new Platform::SwResampler(inputRate, outputRate, channels, maxOutputFrames);
}

// The type by which the layer calls it.
static_assert(std::is_same_v<decltype(newResampler), Platform::NewResampler>);
