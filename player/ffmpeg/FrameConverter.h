#pragma once

#include <cstdint>
#include <vector>

#include "player/base/StreamFormat.h"
#include "player/ffmpeg/Ffmpeg.h"

namespace Player {

/// Decoded pieces in whatever shape → the bytes of one stream format. Nothing is changed that need
/// not be: the same sample type, rate and channels come out bit for bit. One thread.
class FrameConverter {
 public:
  explicit FrameConverter(const StreamFormat& target) : m_target(target) {}

  /// Appends to `out`; throws InputError when a piece has a shape that nothing converts.
  void add(const AVFrame& frame, std::vector<std::uint8_t>& out);

  /// Appends what is still on its way at the end of a file.
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
  Owned<AVFrame> m_shape;  // what m_converter takes: format, rate and channels of it
  bool m_spreadsMono = false;
  std::vector<std::uint8_t> m_converted;
};

}  // namespace Player
