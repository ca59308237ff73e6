// SPDX-License-Identifier: MIT

#include "player/ffmpeg/FfmpegFile.h"

#include <fmt/format.h>

#include <string_view>

#include "player/ffmpeg/Ac3Frame.h"
#include "player/ffmpeg/Container.h"
#include "player/ffmpeg/Truncation.h"

namespace Player {

namespace {

SampleType sampleTypeOf(AVSampleFormat format, int validBits) {
  switch (av_get_packed_sample_fmt(format)) {
    case AV_SAMPLE_FMT_U8:
    case AV_SAMPLE_FMT_S16:
      return SampleType::Int16;
    case AV_SAMPLE_FMT_S32:
      return validBits > 0 && validBits <= 24 ? SampleType::Int24 : SampleType::Int32;
    case AV_SAMPLE_FMT_S64:
      return SampleType::Int32;
    default:
      return SampleType::Float32;
  }
}

}  // namespace

FfmpegFile::FfmpegFile(const std::string& path, ShouldStop shouldStop)
    : m_path(path),
      m_pipe(PipeInput::openIfPipe(path, shouldStop)),
      m_container(openContainer(path, m_pipe.get(), shouldStop)),
      m_frame(av_frame_alloc()) {
  const AVCodec* codec = nullptr;
  const int index = av_find_best_stream(m_container.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
  if (index < 0 || codec == nullptr) {
    throw InputError(index == AVERROR_STREAM_NOT_FOUND ? contentWithoutAudio(*m_container)
                                                       : "no decoder for its audio format");
  }
  for (unsigned i = 0; i < m_container->nb_streams; ++i) {
    const bool wanted = static_cast<int>(i) == index;
    m_container->streams[i]->discard = wanted ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  m_stream = m_container->streams[index];
  m_packets.emplace(*m_container, *m_stream);
  m_decoder.reset(avcodec_alloc_context3(codec));
  require(avcodec_parameters_to_context(m_decoder.get(), m_stream->codecpar), "cannot decode");
  m_decoder->pkt_timebase = m_stream->time_base;
  m_decoder->err_recognition |= AV_EF_CRCCHECK;
  require(avcodec_open2(m_decoder.get(), codec, nullptr), "cannot decode");

  const auto sampleFormat = m_decoder->sample_fmt != AV_SAMPLE_FMT_NONE
                                ? m_decoder->sample_fmt
                                : static_cast<AVSampleFormat>(m_stream->codecpar->format);
  if (sampleFormat == AV_SAMPLE_FMT_NONE || m_decoder->sample_rate <= 0 ||
      m_decoder->ch_layout.nb_channels <= 0) {
    throw InputError("unknown audio format");
  }
  m_format = {sampleTypeOf(sampleFormat, m_decoder->bits_per_raw_sample),
              static_cast<std::uint32_t>(m_decoder->sample_rate),
              static_cast<std::uint32_t>(m_decoder->ch_layout.nb_channels)};
  findCoding();
}

/// The library reports the rate of the last AC-3 frame that it has probed. The first packet's rate
/// counts.
void FfmpegFile::findCoding() {
  m_coding = {avcodec_get_name(m_decoder->codec_id), m_format.rate, m_format.channels};
  const AVPacket* const packet =
      m_decoder->codec_id == AV_CODEC_ID_AC3 ? m_packets->peek() : nullptr;
  if (packet == nullptr) {
    return;
  }
  const Ac3Frame first = inspectAc3({packet->data, static_cast<std::size_t>(packet->size)});
  if (first.fault == nullptr) {
    m_coding.rate = first.rate;
  }
}

std::optional<std::uint64_t> FfmpegFile::length() const {
  const AVRational frame{1, static_cast<int>(m_format.rate)};
  if (m_stream->duration > 0) {
    return static_cast<std::uint64_t>(av_rescale_q(m_stream->duration, m_stream->time_base, frame));
  }
  if (m_container->duration > 0) {
    return static_cast<std::uint64_t>(
        av_rescale_q(m_container->duration, AVRational{1, AV_TIME_BASE}, frame));
  }
  return std::nullopt;
}

/// Some containers store the texts with the stream.
std::string FfmpegFile::title() const {
  const auto text = [this](const char* key) {
    const AVDictionaryEntry* entry = av_dict_get(m_container->metadata, key, nullptr, 0);
    entry = entry != nullptr ? entry : av_dict_get(m_stream->metadata, key, nullptr, 0);
    return entry != nullptr ? entry->value : nullptr;
  };
  return titleOf(text("artist"), text("title"));
}

/// Returns whether the stream's times and lengths are exact counts of frames.
bool FfmpegFile::hasExactTimes() const {
  const AVCodecID codec = m_decoder->codec_id;
  const bool counts = codec == AV_CODEC_ID_FLAC || av_get_exact_bits_per_sample(codec) > 0;
  return counts && m_stream->time_base.num == 1 &&
         m_stream->time_base.den == static_cast<int>(m_format.rate);
}

std::uint64_t FfmpegFile::seek(std::uint64_t target) {
  if (target == 0 || !hasExactTimes() || target >= length().value_or(0)) {
    return target;
  }
  const std::int64_t origin = m_stream->start_time != AV_NOPTS_VALUE ? m_stream->start_time : 0;
  if (av_seek_frame(m_container.get(), m_stream->index, origin + static_cast<std::int64_t>(target),
                    AVSEEK_FLAG_BACKWARD) < 0) {
    return target;
  }
  avcodec_flush_buffers(m_decoder.get());
  m_packets->reposition();
  // The first packet has the position that was reached.
  const AVPacket* const first = m_packets->next();
  if (first == nullptr) {
    return target;
  }
  const std::int64_t reached = first->pts != AV_NOPTS_VALUE ? first->pts - origin : 0;
  avcodec_send_packet(m_decoder.get(), first);
  m_position = static_cast<std::uint64_t>(reached);
  return target > m_position ? target - m_position : 0;
}

bool FfmpegFile::decode(const StreamFormat& target, std::vector<std::uint8_t>& out) {
  if (!m_converter) {
    m_converter.emplace(target);
  }
  const AVFrame* const frame = nextFrame();
  if (frame == nullptr) {
    m_converter->finish(out);
    return false;
  }
  m_converter->add(*frame, out);
  return true;
}

/// Returns a frame that is valid until the next call; null at the end.
const AVFrame* FfmpegFile::nextFrame() {
  for (;;) {
    const int result = avcodec_receive_frame(m_decoder.get(), m_frame.get());
    if (result == 0) {
      m_position += static_cast<std::uint64_t>(m_frame->nb_samples);
      m_lostPackets += m_frame->decode_error_flags != 0 ? 1 : 0;
      return m_frame.get();
    }
    if (result == AVERROR_EOF) {
      return nullptr;
    }
    if (result != AVERROR(EAGAIN)) {
      ++m_lostPackets;
    } else if (!sendPacket()) {
      return nullptr;
    }
  }
}

/// Sends the decoder one packet of the stream, or the end; returns false if it accepts nothing
/// more.
bool FfmpegFile::sendPacket() {
  const AVPacket* packet = m_packets->next();
  if (packet == nullptr) {
    return avcodec_send_packet(m_decoder.get(), nullptr) == 0;
  }
  if (avcodec_send_packet(m_decoder.get(), packet) < 0) {
    ++m_lostPackets;
  }
  return true;
}

/// Returns what is missing at the end, if that was reached.
std::string FfmpegFile::truncation() const {
  const auto inFrames = [](std::uint64_t present, std::uint64_t declared) {
    return fmt::format("truncated: {} of {} frames", present, declared);
  };
  if (!m_packets->isAtEnd()) {
    return "";
  }
  const std::uint64_t missing = missingBytes(m_path);
  std::uint64_t declared = length().value_or(0);
  if (hasExactTimes()) {
    const int frameBytes = m_stream->codecpar->block_align;  // 0 for FLAC
    if (missing > 0 && frameBytes > 0) {                     // the library uses the file's length
      declared = m_position + 1 + (missing - 1) / static_cast<std::uint64_t>(frameBytes);
    }
    if (m_position < declared) {
      return inFrames(m_position, declared);
    }
  }
  // Only MP3 has a header that counts its frames, perhaps including the header's.
  const bool isMp3 = m_container->iformat->name == std::string_view("mp3");
  if (isMp3 && m_container->duration_estimation_method == AVFMT_DURATION_FROM_STREAM) {
    const AVRational frame{1, static_cast<int>(m_format.rate)};
    const auto read = static_cast<std::uint64_t>(
        av_rescale_q(m_packets->ticksRead(), m_stream->time_base, frame));
    const auto uncertain = 2 * static_cast<std::uint64_t>(m_stream->codecpar->frame_size);
    return read + uncertain < declared ? inFrames(read, declared) : "";
  }
  if (missing > 0) {
    return fmt::format("truncated: the last {} bytes are missing", missing);
  }
  return lacksLastPage(m_path) ? "truncated: the last page is incomplete or missing" : "";
}

std::string FfmpegFile::damage() const {
  if (const std::string error = m_packets->error(); !error.empty()) {
    return "read error: " + error;
  }
  if (const std::string truncated = truncation(); !truncated.empty()) {
    return truncated;
  }
  if (m_lostPackets > 0) {
    return fmt::format("damaged: {} packet{} not fully decoded", m_lostPackets,
                       m_lostPackets == 1 ? "" : "s");
  }
  return "";
}

}  // namespace Player
