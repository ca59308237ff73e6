// SPDX-License-Identifier: MIT

#include "player/ffmpeg/Ac3Reader.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "player/base/StreamFormat.h"
#include "player/ffmpeg/Ac3Frame.h"

namespace Player {

Ac3Reader::Ac3Reader(Track track, std::uint32_t rate)
    : m_track(std::move(track)),
      m_file(dynamic_cast<FfmpegFile*>(m_track.file.get())),
      m_rate(rate) {}

bool Ac3Reader::read(std::uint8_t* to) {
  const TrackRange& cut = m_track.cut;
  try {
    while (const auto frame = nextFrame()) {
      const std::uint64_t begin = std::exchange(m_position, m_position + kFramesPerBurst);
      if (cut.length && begin >= cut.start + *cut.length) {
        return false;
      }
      if (m_position > cut.start) {
        pack(*frame, to);
        ++m_read;
        return true;
      }
    }
  } catch (const InputError& error) {
    m_error = error.what();
  }
  return false;
}

std::string Ac3Reader::problem() const {
  if (!m_error.empty()) {
    return m_error;
  }
  if (m_damaged > 0) {
    return fmt::format("damaged: left out {} piece{}, {}", m_damaged, m_damaged == 1 ? "" : "s",
                       m_firstFault);
  }
  const std::string damage = m_track.file->damage();
  const bool isEmpty = m_read == 0 && !m_track.cut.mayBeEmpty;
  return damage.empty() && isEmpty ? m_track.cut.reasonForNothing(m_rate, m_track.file->length())
                                   : damage;
}

/// Returns the next undamaged AC-3 frame, which is part of the file's packet.
std::optional<std::span<const std::uint8_t>> Ac3Reader::nextFrame() {
  while (!m_rest.empty() || fetch()) {
    const Ac3Frame found = inspectAc3(m_rest);
    const std::size_t bytes =
        found.bytes > 0 ? std::min(found.bytes, m_rest.size()) : m_rest.size();
    const std::span<const std::uint8_t> piece = m_rest.first(bytes);
    m_rest = m_rest.subspan(bytes);
    if (found.fault != nullptr) {
      leaveOut(found.fault);
    } else if (found.rate != m_rate) {
      throw InputError(fmt::format("its rate changes from {} to {} Hz; the rest is not played",
                                   m_rate, found.rate));
    } else {
      return piece;
    }
  }
  return std::nullopt;
}

void Ac3Reader::pack(std::span<const std::uint8_t> frame, std::uint8_t* to) {
  if (!m_packer) {
    m_packer.emplace(m_rate);
  }
  m_packer->pack(frame, to);
}

bool Ac3Reader::fetch() {
  if (m_file == nullptr) {  // changed since it was last opened
    throw InputError("is no longer AC-3");
  }
  const AVPacket* packet = m_file->nextPacket();
  if (packet == nullptr) {
    return false;
  }
  m_rest = {packet->data, static_cast<std::size_t>(packet->size)};
  return true;
}

void Ac3Reader::leaveOut(const char* fault) {
  if (m_damaged++ == 0) {
    const double seconds = static_cast<double>(m_position) / m_rate;
    m_firstFault = fmt::format("the first after {:.3f} s: {}", seconds, fault);
  }
}

}  // namespace Player
