// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <vector>

#include "player/base/StreamFormat.h"
#include "player/ffmpeg/Ffmpeg.h"

namespace Player {

/// Converts decoded pieces of any format to the bytes of one stream format. Sample type, rate and
/// channels that need no conversion are kept bit for bit. One thread.
class FrameConverter {
 public:
  explicit FrameConverter(const StreamFormat& target) : m_target(target) {}

  /// Appends to `out`; throws InputError if a piece has a format that cannot be converted.
  void add(const AVFrame& frame, std::vector<std::uint8_t>& out);

  /// Appends what the converter still holds at the end of a file.
  void finish(std::vector<std::uint8_t>& out);

 private:
  bool isAsItShouldBe(const AVFrame& frame) const;
  bool isPreparedFor(const AVFrame& frame) const;
  void prepareFor(const AVFrame& frame);
  void convert(const AVFrame* frame, std::vector<std::uint8_t>& out);
  void append(const std::uint8_t* samples, std::size_t frames,
              std::vector<std::uint8_t>& out) const;

  const StreamFormat m_target;
  Owned<SwrContext> m_converter;
  Owned<AVFrame> m_shape;  // what m_converter accepts: its format, rate and channels
  bool m_spreadsMono = false;
  std::vector<std::uint8_t> m_converted;
};

}  // namespace Player
