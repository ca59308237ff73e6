// SPDX-License-Identifier: MIT

#include "player/ffmpeg/BurstPacker.h"

#include <cstring>

#include "player/base/StreamFormat.h"
#include "player/media/MediaFile.h"

namespace Player {

namespace {

constexpr int kIoBytes = kBurstBytes;

void require(bool done) {
  if (!done) {
    throw InputError("AC-3 frame cannot be packed into a burst");
  }
}

}  // namespace

BurstPacker::BurstPacker(std::uint32_t rate) : m_packet(av_packet_alloc()) {
  AVFormatContext* muxer = nullptr;
  require(avformat_alloc_output_context2(&muxer, nullptr, "spdif", nullptr) >= 0);
  m_muxer.reset(muxer);
  auto* buffer = static_cast<unsigned char*>(av_malloc(kIoBytes));
  muxer->pb = avio_alloc_context(buffer, kIoBytes, 1, this, nullptr, onWrite, nullptr);
  AVStream* stream = avformat_new_stream(muxer, nullptr);
  require(muxer->pb != nullptr && stream != nullptr);
  stream->codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
  stream->codecpar->codec_id = AV_CODEC_ID_AC3;
  stream->codecpar->sample_rate = static_cast<int>(rate);
  require(avformat_write_header(muxer, nullptr) >= 0);
}

void BurstPacker::FreeMuxer::operator()(AVFormatContext* muxer) const {
  if (muxer->pb != nullptr) {
    av_freep(&muxer->pb->buffer);
    avio_context_free(&muxer->pb);
  }
  avformat_free_context(muxer);
}

void BurstPacker::pack(std::span<const std::uint8_t> frame, std::uint8_t* to) {
  m_to = to;
  m_written = 0;
  av_packet_unref(m_packet.get());
  require(av_new_packet(m_packet.get(), static_cast<int>(frame.size())) == 0);
  std::memcpy(m_packet->data, frame.data(), frame.size());
  const int result = av_write_frame(m_muxer.get(), m_packet.get());
  avio_flush(m_muxer->pb);
  m_to = nullptr;
  require(result >= 0 && m_written == kBurstBytes);
}

void BurstPacker::take(std::span<const std::uint8_t> bytes) {
  if (m_to != nullptr && m_written + bytes.size() <= kBurstBytes) {
    std::memcpy(m_to + m_written, bytes.data(), bytes.size());
  }
  m_written += bytes.size();
}

/// Library versions differ in whether the bytes are const.
template <class Byte>
int BurstPacker::onWrite(void* packer, Byte* bytes, int count) {
  static_cast<BurstPacker*>(packer)->take({bytes, static_cast<std::size_t>(count)});
  return count;
}

}  // namespace Player
