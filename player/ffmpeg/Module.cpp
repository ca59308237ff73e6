// SPDX-License-Identifier: MIT

// The module's entry: a table of its functions.

#include <array>
#include <cstdarg>

#include "player/ffmpeg/Ac3Reader.h"
#include "player/ffmpeg/FfmpegFile.h"
#include "player/media/Decoders.h"
#include "tavro_core/Log.h"

namespace Player {

namespace {

/// Logs the libraries' warnings and errors at the verbose level.
void onRemark(void* about, int level, const char* format, va_list values) {
  if (level > AV_LOG_WARNING) {
    return;
  }
  std::array<char, 512> line{};
  int isFirst = 1;
  av_log_format_line2(about, level, format, values, line.data(), line.size(), &isFirst);
  std::string_view text(line.data());
  while (text.ends_with('\n')) {
    text.remove_suffix(1);
  }
  Tavro::logLine(Tavro::LogLevel::Verbose, "decoder", "%.*s", static_cast<int>(text.size()),
                 text.data());
}

std::unique_ptr<MediaFile> open(const std::string& path, ShouldStop shouldStop) {
  av_log_set_callback(onRemark);
  return std::make_unique<FfmpegFile>(path, shouldStop);
}

std::unique_ptr<BurstReader> readAc3(Track track, std::uint32_t rate) {
  return std::make_unique<Ac3Reader>(std::move(track), rate);
}

}  // namespace

}  // namespace Player

extern "C" {
extern const Player::Decoders tavroPlayDecoders;
const Player::Decoders tavroPlayDecoders{Player::open, Player::readAc3};
}
