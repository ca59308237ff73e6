// SPDX-License-Identifier: MIT

#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>

#include "tests/support/Files.h"

struct WaveShape {
  unsigned bits = 16;
  bool isFloat = false;
  unsigned channels = 2;
  unsigned rate = 48000;
  std::size_t frameBytes() const { return std::size_t{bits} / 8 * channels; }
  bool operator==(const WaveShape&) const = default;
};

struct Wave {
  WaveShape shape;
  Bytes data;
  std::uint32_t speakers = 0;  // which its channels are for, as a file that was read says
  std::size_t frames() const { return data.size() / shape.frameBytes(); }
};

/// Noise of the shape, no frame of it all zeros; the same for the same seed.
Wave noise(const WaveShape& shape, std::size_t frames, std::uint32_t seed = 1);

void writeWave(const std::filesystem::path& path, const Wave& wave);

/// Of a plain, extensible or RF64 file; the sizes in the file must be right.
Wave readWave(const std::filesystem::path& path);

Bytes framesOf(const Wave& wave, std::size_t first, std::size_t count);

/// The samples of integer or float data as float, of which those up to 24 bits are exact.
Bytes asFloat(const Wave& wave);

/// `played` is `expected`, frame for frame.
testing::AssertionResult isExactly(const Wave& played, const Bytes& expected);

/// `part` lies in `whole` at a frame, and nothing but silence around it.
testing::AssertionResult liesIn(const Bytes& whole, const Bytes& part, std::size_t frameBytes);

/// Somewhere, whatever is around it.
bool contains(const Bytes& whole, const Bytes& part);

/// Anything but zeros.
bool hasSound(const Bytes& bytes);

/// The frames that are not all zeros.
Bytes withoutSilence(const Bytes& frames, std::size_t frameBytes);
