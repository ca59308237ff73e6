// SPDX-License-Identifier: MIT

#include "player/media/FallbackFile.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "player/base/PackedSamples.h"
#include "player/media/Decoders.h"
#include "player/terminal/SignalHandler.h"

namespace Player {

namespace {

constexpr std::size_t kPieceFrames = 4096;

bool isInterrupted() { return SignalHandler::requested().has_value(); }

}  // namespace

FallbackFile::FallbackFile(std::string path, const CodecInfo& coding, SampleType type,
                           std::uint64_t length)
    : m_path(std::move(path)),
      m_coding(coding),
      m_format{type, coding.rate, coding.channels},
      m_length(length),
      m_bytesRead(type == SampleType::Int16 ? 2 : 4),
      m_piece(kPieceFrames * coding.channels * m_bytesRead) {}

std::uint64_t FallbackFile::seek(std::uint64_t target) {
  const std::uint64_t frame = std::min(target, m_length);
  if (!moveTo(frame)) {
    return target;
  }
  m_position = frame;
  return 0;
}

bool FallbackFile::decode(const StreamFormat& target, std::vector<std::uint8_t>& out) {
  if (m_decoders || !canGive(target)) {
    return continueWithDecoders(target, out);
  }
  const std::uint64_t wanted = std::min<std::uint64_t>(kPieceFrames, m_length - m_position);
  const Read piece = read(m_piece.data(), static_cast<std::size_t>(wanted));
  if (piece.isFaulty || (piece.frames == 0 && m_position < m_length)) {
    m_isDamaged = piece.isFaulty;
    return continueWithDecoders(target, out);
  }
  m_position += piece.frames;
  const std::size_t samples = piece.frames * m_format.channels;
  appendPacked(m_piece.data(), samples, m_bytesRead, m_format.bytesPerSample(),
               target.channels / m_format.channels, out);
  return m_position < m_length;
}

bool FallbackFile::canGive(const StreamFormat& target) const {
  StreamFormat spread = m_format;
  spread.channels = spread.channels == 1 ? 2 : spread.channels;
  return target == m_format || target == spread;
}

/// Continues from m_position; skips what the decoders' first piece has before it.
bool FallbackFile::continueWithDecoders(const StreamFormat& target,
                                        std::vector<std::uint8_t>& out) {
  if (!m_decoders) {
    m_decoders = openWithDecoders(m_path);
    m_toSkip = m_decoders->seek(m_position);
  }
  const std::size_t begin = out.size();
  const bool goesOn = m_decoders->decode(target, out);
  const std::uint64_t skipped =
      std::min<std::uint64_t>(m_toSkip, (out.size() - begin) / target.bytesPerFrame());
  m_toSkip -= skipped;
  const auto from = out.begin() + static_cast<std::ptrdiff_t>(begin);
  out.erase(from, from + static_cast<std::ptrdiff_t>(skipped * target.bytesPerFrame()));
  return goesOn;
}

/// The decoders do not report faults that they could repair.
std::string FallbackFile::damage() const {
  std::string found = m_decoders ? m_decoders->damage() : "";
  if (found.empty() && m_isDamaged) {
    const double seconds = static_cast<double>(m_position) / m_format.rate;
    return fmt::format("damaged, first at {:.3f} s", seconds);
  }
  return found;
}

std::unique_ptr<MediaFile> openWithDecoders(const std::string& path) {
  return decoders().open(path, isInterrupted);
}

}  // namespace Player
