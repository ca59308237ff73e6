// SPDX-License-Identifier: MIT

#include "player/ffmpeg/Ac3Frame.h"

extern "C" {
#include <libavcodec/ac3_parser.h>
#include <libavutil/crc.h>
}

#include <array>

namespace Player {

namespace {

constexpr std::size_t kHeaderBytes = 7;
constexpr std::uint8_t kLastAc3Version = 10;  // bsid; above it is E-AC-3
constexpr std::uint8_t kFullRateVersion = 8;  // each one above it halves the rate
constexpr std::array<std::uint32_t, 3> kRates = {48000, 44100, 32000};

bool isSumZero(std::span<const std::uint8_t> data) {
  return av_crc(av_crc_get_table(AV_CRC_16_ANSI), 0, data.data(), data.size()) == 0;
}

std::uint32_t rateOf(std::span<const std::uint8_t> data, std::uint8_t version) {
  const std::size_t code = data[4] >> 6;
  const int halvings = version > kFullRateVersion ? version - kFullRateVersion : 0;
  return code < kRates.size() ? kRates[code] >> halvings : 0;
}

}  // namespace

Ac3Frame inspectAc3(std::span<const std::uint8_t> data) {
  if (data.size() < 2 || data[0] != 0x0b || data[1] != 0x77) {
    return {.fault = "no sync word"};
  }
  if (data.size() < kHeaderBytes) {
    return {.fault = "incomplete"};
  }
  std::uint8_t version = 0;
  std::uint16_t bytes = 0;
  if (av_ac3_parse_header(data.data(), data.size(), &version, &bytes) < 0 ||
      version > kLastAc3Version) {
    return {.fault = "no AC-3 header"};
  }
  Ac3Frame frame{.bytes = bytes, .rate = rateOf(data, version)};
  if (data.size() < frame.bytes) {
    frame.fault = "incomplete";
    return frame;
  }
  // Two checksums, of the first 5/8 of the frame and of all of it, both without the sync word.
  const std::size_t fiveEighths = (frame.bytes / 4 + frame.bytes / 16) * 2;
  if (!isSumZero(data.subspan(2, fiveEighths - 2)) || !isSumZero(data.subspan(2, bytes - 2u))) {
    frame.fault = "wrong checksum";
  }
  return frame;
}

}  // namespace Player
