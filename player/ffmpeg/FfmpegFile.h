// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "player/ffmpeg/Ffmpeg.h"
#include "player/ffmpeg/FrameConverter.h"
#include "player/ffmpeg/PacketReader.h"
#include "player/ffmpeg/PipeInput.h"
#include "player/media/Decoders.h"
#include "player/media/MediaFile.h"

namespace Player {

/// Any file that FFmpeg's libraries read: either decoded, or as unmodified packets.
class FfmpegFile final : public MediaFile {
 public:
  /// Throws InputError.
  FfmpegFile(const std::string& path, ShouldStop shouldStop);

  const StreamFormat& format() const override { return m_format; }
  const CodecInfo& coding() const override { return m_coding; }
  std::optional<std::uint64_t> length() const override;
  std::string title() const override;
  std::uint64_t seek(std::uint64_t target) override;
  bool decode(const StreamFormat& target, std::vector<std::uint8_t>& out) override;
  std::string damage() const override;

  /// Returns the next packet, valid until the next call; null at the end. Replaces seek() and
  /// decode().
  const AVPacket* nextPacket() { return m_packets->next(); }

 private:
  const AVFrame* nextFrame();
  void findCoding();
  bool hasExactTimes() const;
  std::string truncation() const;
  bool sendPacket();

  const std::string m_path;
  const std::unique_ptr<PipeInput> m_pipe;  // none for a regular file
  Owned<AVFormatContext> m_container;
  Owned<AVCodecContext> m_decoder;
  Owned<AVFrame> m_frame;
  AVStream* m_stream = nullptr;           // the container's
  std::optional<PacketReader> m_packets;  // of m_stream
  StreamFormat m_format;
  CodecInfo m_coding;
  std::optional<FrameConverter> m_converter;  // once something was decoded
  std::uint64_t m_position = 0;               // frames, at the decoder's output
  std::uint64_t m_lostPackets = 0;            // not or not fully decoded
};

}  // namespace Player
