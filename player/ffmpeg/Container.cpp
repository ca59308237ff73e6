// SPDX-License-Identifier: MIT

#include "player/ffmpeg/Container.h"

#include <fmt/format.h>

#include <fstream>
#include <string_view>
#include <vector>

#include "player/media/MediaFile.h"

namespace Player {

namespace {

constexpr int kProbeBytes = 65536;

/// Returns whether the first bytes match the format well, or weakly but with a matching name. A
/// name alone or a weak match alone would let raw samples play as noise.
bool isRecognised(const AVFormatContext& container, const std::string& path, bool isPipe) {
  if (isPipe || container.probe_score > AVPROBE_SCORE_EXTENSION) {
    return container.probe_score > AVPROBE_SCORE_RETRY;
  }
  std::vector<unsigned char> bytes(kProbeBytes + AVPROBE_PADDING_SIZE);
  std::ifstream file(path, std::ios::binary);
  file.read(reinterpret_cast<char*>(bytes.data()), kProbeBytes);
  const AVProbeData data{"", bytes.data(), static_cast<int>(file.gcount()), nullptr};
  int score = 0;
  const bool isSame = av_probe_input_format3(&data, 1, &score) == container.iformat;
  return isSame && (score > AVPROBE_SCORE_RETRY ||
                    av_match_ext(path.c_str(), container.iformat->extensions) != 0);
}

int onWait(void* shouldStop) { return reinterpret_cast<ShouldStop>(shouldStop)() ? 1 : 0; }

}  // namespace

std::string errorText(int code) {
  char text[AV_ERROR_MAX_STRING_SIZE] = {};
  av_strerror(code, text, sizeof(text));
  return text;
}

void require(int result, const char* what) {
  if (result < 0) {
    throw InputError(std::string(what) + ": " + errorText(result));
  }
}

Owned<AVFormatContext> openContainer(const std::string& path, PipeInput* pipe,
                                     ShouldStop shouldStop) {
  AVFormatContext* opened = avformat_alloc_context();
  if (opened == nullptr) {
    throw InputError("out of memory");
  }
  opened->interrupt_callback = {onWait, reinterpret_cast<void*>(shouldStop)};
  opened->pb = pipe != nullptr ? pipe->context() : nullptr;
  // The prefix keeps a colon in the name from being taken for a protocol.
  const int result = avformat_open_input(&opened, ("file:" + path).c_str(), nullptr, nullptr);
  Owned<AVFormatContext> container(opened);
  if (result == AVERROR_INVALIDDATA ||
      (result == 0 && !isRecognised(*opened, path, pipe != nullptr))) {
    throw InputError(
        "unknown format or damaged header; for raw PCM, add a header: ffmpeg -f s16le -ar "
        "RATE -ac CHANNELS -i FILE NEW.wav");
  }
  require(result, "cannot open");
  require(avformat_find_stream_info(opened, nullptr), "cannot read");
  return container;
}

std::string contentWithoutAudio(const AVFormatContext& container) {
  for (unsigned i = 0; i < container.nb_streams; ++i) {
    const AVCodecParameters& parameters = *container.streams[i]->codecpar;
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO) {
      const std::string_view format = container.iformat->name;
      const bool isPicture = format.ends_with("_pipe") || format.starts_with("image2");
      return fmt::format("{} ({})",
                         isPicture ? "is a picture, not audio" : "is a video without audio",
                         avcodec_get_name(parameters.codec_id));
    }
  }
  return fmt::format("contains no audio ({})", container.iformat->long_name);
}

}  // namespace Player
