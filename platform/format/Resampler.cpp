// SPDX-License-Identifier: MIT

#include "platform/format/Resampler.h"

#include <stdexcept>

#include "platform/system/BackendLibrary.h"

namespace Platform {

std::unique_ptr<Resampler> makeResampler(std::uint32_t inputRate, std::uint32_t outputRate,
                                         std::uint32_t channels, std::uint32_t maxOutputFrames) {
  const auto make = loadFunction<NewResampler>(kResamplerModule, kResamplerEntry, "libswresample4");
  if (!make) {
    throw std::runtime_error("no resampler: " + make.reason);
  }
  return std::unique_ptr<Resampler>(make.entry(inputRate, outputRate, channels, maxOutputFrames));
}

}  // namespace Platform
