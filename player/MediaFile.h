#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "player/Ffmpeg.h"
#include "player/StreamFormat.h"

namespace Player {

/// An input that cannot be played; the text is the reason, without the file's name.
class InputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// How a file's audio is coded.
struct Coding {
  AVCodecID codec = AV_CODEC_ID_NONE;
  std::uint32_t rate = 0;
  std::uint32_t channels = 0;
};

/// The first audio stream of a file: either decoded, frame by frame, or packet by packet as it is.
/// One thread at a time.
class MediaFile {
 public:
  /// Throws InputError.
  explicit MediaFile(const std::string& path);

  /// The stream's own sample type, rate and channels, in the nearest shape that a plug-in takes.
  const StreamFormat& format() const { return m_format; }

  const Coding& coding() const { return m_coding; }

  /// Frames that the file says it has; none if it does not say.
  std::optional<std::uint64_t> length() const;

  /// Goes to a frame at or before `target`, as near as is quick, and answers how many are to be
  /// left out from there. Before the first decode().
  std::uint64_t seek(std::uint64_t target);

  /// The next decoded piece, valid until the next call; null at the end.
  const AVFrame* decode();

  /// The next packet, valid until the next call; null at the end. Instead of seek() and decode().
  const AVPacket* nextPacket();

  /// What was wrong with the stream as far as it was read; empty: nothing. After the end.
  std::string damage() const;

 private:
  void findCoding();
  bool hasExactTimes() const;
  int readPacket();
  bool sendPacket();

  Owned<AVFormatContext> m_container;
  Owned<AVCodecContext> m_decoder;
  Owned<AVPacket> m_packet;
  Owned<AVFrame> m_frame;
  AVStream* m_stream = nullptr;  // the container's
  StreamFormat m_format;
  Coding m_coding;
  bool m_isPacketNext = false;      // m_packet was read ahead
  std::uint64_t m_position = 0;     // frames, at the decoder's end
  std::uint64_t m_lostPackets = 0;  // not, or not wholly decoded
  std::string m_readError;
};

}  // namespace Player
