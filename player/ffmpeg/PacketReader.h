// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <string>

#include "player/ffmpeg/Ffmpeg.h"

namespace Player {

/// Reads the packets of one stream of a container, which must outlive it. One thread at a time.
class PacketReader {
 public:
  PacketReader(AVFormatContext& container, const AVStream& stream);

  /// Returns the next packet, valid until the next call; null at the end or on an error.
  const AVPacket* next();

  /// Returns the packet that next() will return, or null.
  const AVPacket* peek();

  /// Call after the container was positioned elsewhere: forgets the packet that was read ahead.
  void reposition() { m_isAhead = false; }

  /// Returns whether the container's end was reached, and the durations of the packets read so far.
  bool isAtEnd() const { return m_result == AVERROR_EOF; }
  std::int64_t ticksRead() const { return m_ticksRead; }

  /// Returns the error that ended reading, or an empty string.
  std::string error() const;

 private:
  void read();

  AVFormatContext& m_container;
  const AVStream& m_stream;
  Owned<AVPacket> m_packet;
  bool m_isAhead = false;  // m_packet was read by peek()
  int m_result = 0;        // the library's, of the last packet read
  std::int64_t m_ticksRead = 0;
};

}  // namespace Player
