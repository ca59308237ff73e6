// SPDX-License-Identifier: MIT

#include "platform/format/SampleConversion.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

namespace Platform {
namespace {

/// Returns the sign-extended integer stored in `kBytes` bytes.
template <std::size_t kBytes, bool kBigEndian>
std::int32_t loadInteger(const std::byte* packed) {
  std::uint32_t value = 0;
  for (std::size_t i = 0; i < kBytes; ++i) {
    const std::size_t place = kBigEndian ? kBytes - 1 - i : i;
    value |= std::to_integer<std::uint32_t>(packed[place]) << (8 * (i + 4 - kBytes));
  }
  return static_cast<std::int32_t>(value) >> (8 * (4 - kBytes));
}

template <std::size_t kBytes, bool kBigEndian>
void storeInteger(std::int32_t value, std::byte* packed) {
  for (std::size_t i = 0; i < kBytes; ++i) {
    const std::size_t place = kBigEndian ? kBytes - 1 - i : i;
    packed[place] = static_cast<std::byte>(static_cast<std::uint32_t>(value) >> (8 * i));
  }
}

template <std::size_t kBytes>
constexpr double kFullScale = static_cast<double>(std::int64_t{1} << (8 * kBytes - 1));

template <std::size_t kBytes, bool kBigEndian>
void unpackIntegers(const std::byte* packed, double* samples, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    samples[i] = loadInteger<kBytes, kBigEndian>(packed + i * kBytes) / kFullScale<kBytes>;
  }
}

template <std::size_t kBytes, bool kBigEndian>
void packIntegers(const double* samples, std::byte* packed, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    const double sample = std::isnan(samples[i]) ? 0.0 : samples[i] * kFullScale<kBytes>;
    const double clipped = std::clamp(sample, -kFullScale<kBytes>, kFullScale<kBytes> - 1);
    storeInteger<kBytes, kBigEndian>(static_cast<std::int32_t>(std::lrint(clipped)),
                                     packed + i * kBytes);
  }
}

template <bool kBigEndian>
void unpackFloats(const std::byte* packed, double* samples, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    samples[i] = std::bit_cast<float>(loadInteger<4, kBigEndian>(packed + i * 4));
  }
}

template <bool kBigEndian>
void packFloats(const double* samples, std::byte* packed, std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    storeInteger<4, kBigEndian>(std::bit_cast<std::int32_t>(static_cast<float>(samples[i])),
                                packed + i * 4);
  }
}

template <bool kBigEndian>
void unpack(SampleType type, const std::byte* packed, double* samples, std::size_t count) {
  switch (type) {
    case SampleType::S8:
      return unpackIntegers<1, kBigEndian>(packed, samples, count);
    case SampleType::S16:
      return unpackIntegers<2, kBigEndian>(packed, samples, count);
    case SampleType::S24:
      return unpackIntegers<3, kBigEndian>(packed, samples, count);
    case SampleType::S32:
      return unpackIntegers<4, kBigEndian>(packed, samples, count);
    case SampleType::F32:
      return unpackFloats<kBigEndian>(packed, samples, count);
  }
}

template <bool kBigEndian>
void pack(SampleType type, const double* samples, std::byte* packed, std::size_t count) {
  switch (type) {
    case SampleType::S8:
      return packIntegers<1, kBigEndian>(samples, packed, count);
    case SampleType::S16:
      return packIntegers<2, kBigEndian>(samples, packed, count);
    case SampleType::S24:
      return packIntegers<3, kBigEndian>(samples, packed, count);
    case SampleType::S32:
      return packIntegers<4, kBigEndian>(samples, packed, count);
    case SampleType::F32:
      return packFloats<kBigEndian>(samples, packed, count);
  }
}

}  // namespace

void unpackSamples(SampleFormat format, const std::byte* packed, double* samples,
                   std::size_t sampleCount) TAVRO_NONBLOCKING {
  format.bigEndian ? unpack<true>(format.type, packed, samples, sampleCount)
                   : unpack<false>(format.type, packed, samples, sampleCount);
}

void packSamples(SampleFormat format, const double* samples, std::byte* packed,
                 std::size_t sampleCount) TAVRO_NONBLOCKING {
  format.bigEndian ? pack<true>(format.type, samples, packed, sampleCount)
                   : pack<false>(format.type, samples, packed, sampleCount);
}

}  // namespace Platform
