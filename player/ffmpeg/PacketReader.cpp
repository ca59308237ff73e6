// SPDX-License-Identifier: MIT

#include "player/ffmpeg/PacketReader.h"

#include <utility>

#include "player/ffmpeg/Container.h"

namespace Player {

PacketReader::PacketReader(AVFormatContext& container, const AVStream& stream)
    : m_container(container), m_stream(stream), m_packet(av_packet_alloc()) {}

const AVPacket* PacketReader::next() {
  if (!std::exchange(m_isAhead, false)) {
    read();
  }
  return m_result == 0 ? m_packet.get() : nullptr;
}

const AVPacket* PacketReader::peek() {
  if (!m_isAhead) {
    read();
    m_isAhead = m_result == 0;
  }
  return m_isAhead ? m_packet.get() : nullptr;
}

std::string PacketReader::error() const {
  return m_result < 0 && !isAtEnd() ? errorText(m_result) : "";
}

void PacketReader::read() {
  do {
    av_packet_unref(m_packet.get());
    m_result = av_read_frame(&m_container, m_packet.get());
  } while (m_result == 0 && m_packet->stream_index != m_stream.index);
  m_ticksRead += m_result == 0 ? m_packet->duration : 0;
}

}  // namespace Player
