// SPDX-License-Identifier: MIT

#include "player/ffmpeg/Ac3Frame.h"

#include <optional>

#include "ac3/FrameChecksums.h"
#include "ac3/FrameHeader.h"

namespace Player {

Ac3Frame inspectAc3(std::span<const std::uint8_t> data) {
  if (data.size() < 2 || (data[0] << 8 | data[1]) != Ac3::kSyncWord) {
    return {.fault = "no sync word"};
  }
  if (data.size() < Ac3::kHeaderBytes) {
    return {.fault = "incomplete"};
  }
  const std::optional<Ac3::Header> header = Ac3::parseHeader(data);
  if (!header || header->version > Ac3::kLastVersion) {
    return {.fault = "no AC-3 header"};
  }
  Ac3Frame frame{.bytes = header->bytes, .rate = header->rate};
  if (data.size() < frame.bytes) {
    frame.fault = "incomplete";
  } else if (Ac3::damageOf(data.first(frame.bytes)) != Ac3::Damage::None) {
    frame.fault = "wrong checksum";
  }
  return frame;
}

}  // namespace Player
