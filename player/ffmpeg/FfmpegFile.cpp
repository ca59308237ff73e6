// SPDX-License-Identifier: MIT

#include "player/ffmpeg/FfmpegFile.h"

#include <fmt/format.h>

#include <fstream>
#include <string_view>
#include <utility>

#include "player/ffmpeg/Ac3Frame.h"
#include "player/ffmpeg/Truncation.h"

namespace Player {

namespace {

constexpr int kProbeBytes = 65536;

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

/// Returns what the file contains instead of audio.
std::string withoutSound(const AVFormatContext& container) {
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

}  // namespace

FfmpegFile::FfmpegFile(const std::string& path, ShouldStop shouldStop)
    : m_path(path),
      m_pipe(PipeInput::openIfPipe(path, shouldStop)),
      m_container(openContainer(path, m_pipe.get(), shouldStop)),
      m_packet(av_packet_alloc()),
      m_frame(av_frame_alloc()) {
  const AVCodec* codec = nullptr;
  const int index = av_find_best_stream(m_container.get(), AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
  if (index < 0 || codec == nullptr) {
    throw InputError(index == AVERROR_STREAM_NOT_FOUND ? withoutSound(*m_container)
                                                       : "no decoder for its audio format");
  }
  for (unsigned i = 0; i < m_container->nb_streams; ++i) {
    const bool wanted = static_cast<int>(i) == index;
    m_container->streams[i]->discard = wanted ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
  }
  m_stream = m_container->streams[index];
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
  if (m_decoder->codec_id != AV_CODEC_ID_AC3 || readPacket() < 0) {
    return;
  }
  m_isPacketNext = true;
  const Ac3Frame first = inspectAc3({m_packet->data, static_cast<std::size_t>(m_packet->size)});
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
    return static_cast<std::uint64_t>(av_rescale_q(m_container->duration, AV_TIME_BASE_Q, frame));
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
  m_isPacketNext = false;
  // The first packet has the position that was reached.
  if (readPacket() < 0) {
    return target;
  }
  const std::int64_t reached = m_packet->pts != AV_NOPTS_VALUE ? m_packet->pts - origin : 0;
  avcodec_send_packet(m_decoder.get(), m_packet.get());
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

const AVPacket* FfmpegFile::nextPacket() {
  const int result = readPacket();
  if (result < 0 && result != AVERROR_EOF) {
    m_readError = errorText(result);
  }
  return result < 0 ? nullptr : m_packet.get();
}

/// Reads the next packet of the stream; returns the library's code.
int FfmpegFile::readPacket() {
  if (std::exchange(m_isPacketNext, false)) {
    return 0;
  }
  int result = 0;
  do {
    av_packet_unref(m_packet.get());
    result = av_read_frame(m_container.get(), m_packet.get());
  } while (result == 0 && m_packet->stream_index != m_stream->index);
  m_isWhollyRead = result == AVERROR_EOF;
  m_ticksRead += result == 0 ? m_packet->duration : 0;
  return result;
}

/// Sends the decoder one packet of the stream, or the end; returns false if it accepts nothing
/// more.
bool FfmpegFile::sendPacket() {
  const AVPacket* packet = nextPacket();
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
  if (!m_isWhollyRead) {
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
    const auto read =
        static_cast<std::uint64_t>(av_rescale_q(m_ticksRead, m_stream->time_base, frame));
    const auto uncertain = 2 * static_cast<std::uint64_t>(m_stream->codecpar->frame_size);
    return read + uncertain < declared ? inFrames(read, declared) : "";
  }
  if (missing > 0) {
    return fmt::format("truncated: the last {} bytes are missing", missing);
  }
  return lacksLastPage(m_path) ? "truncated: the last page is incomplete or missing" : "";
}

std::string FfmpegFile::damage() const {
  if (!m_readError.empty()) {
    return "read error: " + m_readError;
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
