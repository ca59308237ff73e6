// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "player/ffmpeg/Ffmpeg.h"

namespace Player {

/// Packs AC-3 frames into IEC 61937 bursts of 16-bit little-endian words. One thread.
class BurstPacker {
 public:
  explicit BurstPacker(std::uint32_t rate);
  BurstPacker(const BurstPacker&) = delete;
  BurstPacker& operator=(const BurstPacker&) = delete;

  /// Writes kBurstBytes; throws InputError if the frame does not fit into a burst.
  void pack(std::span<const std::uint8_t> frame, std::uint8_t* to);

 private:
  void take(std::span<const std::uint8_t> bytes);
  template <class Byte>
  static int onWrite(void* packer, Byte* bytes, int count);

  struct FreeMuxer {
    void operator()(AVFormatContext* muxer) const;
  };
  std::unique_ptr<AVFormatContext, FreeMuxer> m_muxer;
  Owned<AVPacket> m_packet;
  std::uint8_t* m_to = nullptr;  // of the burst being written
  std::size_t m_written = 0;     // bytes of it
};

}  // namespace Player
