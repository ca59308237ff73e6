// SPDX-License-Identifier: MIT

#pragma once

// FFmpeg's C headers, and owners for the objects that they allocate.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

#include <memory>

namespace Player {

struct FfmpegFree {
  void operator()(AVFormatContext* p) const { avformat_close_input(&p); }
  void operator()(AVCodecContext* p) const { avcodec_free_context(&p); }
  void operator()(AVPacket* p) const { av_packet_free(&p); }
  void operator()(AVFrame* p) const { av_frame_free(&p); }
  void operator()(SwrContext* p) const { swr_free(&p); }
};

template <class T>
using Owned = std::unique_ptr<T, FfmpegFree>;

}  // namespace Player
