// SPDX-License-Identifier: MIT

#include "player/media/TrackReader.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace Player {

TrackReader::TrackReader(Track track, const StreamFormat& format)
    : m_path(std::move(track.path)),
      m_file(std::move(track.file)),
      m_format(format),
      m_bytesPerFrame(format.bytesPerFrame()),
      m_toSkip(m_file->seek(track.cut.start)),
      m_toRead(track.cut.length),
      m_cut(track.cut) {}

std::size_t TrackReader::read(std::uint8_t* to, std::size_t frames) {
  std::size_t done = 0;
  if (m_toRead) {
    frames = static_cast<std::size_t>(std::min<std::uint64_t>(frames, *m_toRead - m_framesRead));
  }
  while (done < frames) {
    const std::size_t ready = (m_decoded.size() - m_position) / m_bytesPerFrame;
    if (ready == 0) {
      if (!decodeMore()) {
        break;
      }
      continue;
    }
    const std::size_t count = std::min(ready, frames - done);
    std::memcpy(to + done * m_bytesPerFrame, m_decoded.data() + m_position,
                count * m_bytesPerFrame);
    m_position += count * m_bytesPerFrame;
    done += count;
  }
  m_framesRead += done;
  return done;
}

std::string TrackReader::problem() const {
  if (!m_error.empty()) {
    return m_error;
  }
  std::string damage = m_atEnd ? m_file->damage() : "";
  if (!damage.empty()) {
    return damage;
  }
  return m_framesRead == 0 && !m_cut.mayBeEmpty
             ? m_cut.reasonForNothing(m_file->format().rate, m_file->length())
             : "";
}

bool TrackReader::decodeMore() {
  m_decoded.clear();
  m_position = 0;
  if (m_atEnd) {
    return false;
  }
  try {
    m_atEnd = !m_file->decode(m_format, m_decoded);
  } catch (const InputError& error) {
    m_error = error.what();
    m_atEnd = true;
  }
  leaveOutTheStart();
  return true;
}

void TrackReader::leaveOutTheStart() {
  const std::uint64_t frames =
      std::min<std::uint64_t>(m_toSkip, m_decoded.size() / m_bytesPerFrame);
  m_toSkip -= frames;
  m_position = static_cast<std::size_t>(frames) * m_bytesPerFrame;
}

}  // namespace Player
