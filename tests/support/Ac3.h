#pragma once

#include <string>
#include <vector>

#include "tests/support/Workbench.h"

/// A stream of AC-3 as the ffmpeg program encodes it.
struct Ac3Shape {
  unsigned rate = 48000;
  unsigned channels = 2;
  unsigned kilobits = 192;
  double seconds = 1;
};

/// With files of AC-3 frames, and what a receiver finds in files of bursts.
class Ac3Workbench : public Workbench {
 protected:
  static constexpr std::size_t kBurstBytes = 6144;

  /// Noise; the same for the same shape.
  void encode(const std::string& name, const Ac3Shape& shape) const;

  /// The frames that the ffmpeg program unpacks from a file of bursts.
  Bytes received(const std::string& name) const;

  /// The frames of a file of one bit rate at 48 or 32 kHz, whose lengths are all the same.
  static std::vector<Bytes> framesOf(const Bytes& file, std::size_t frameBytes);
};

Bytes joined(const std::vector<Bytes>& parts);
