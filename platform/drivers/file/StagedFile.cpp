// SPDX-License-Identifier: MIT

#include "platform/drivers/file/StagedFile.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "platform/drivers/file/WaveSpeakers.h"
#include "platform/format/CopySamples.h"

namespace Platform {
namespace {

constexpr std::size_t kChunkBytes = std::size_t{64} * 1024;

}  // namespace

void StagedFile::begin(const PcmFormat& format, const Labels& labels, std::uint32_t mostFrames) {
  m_format = format;
  m_order = waveOrder(labels);
  m_staged.reserve(kChunkBytes + std::size_t{mostFrames} * format.bytesPerFrame());
  m_file.begin(format, labels);
}

void StagedFile::stageSilence(std::uint32_t frameCount) {
  m_framesSinceCheck += frameCount;
  m_silentFrames += frameCount;
}

void StagedFile::stage(const std::byte* frames, std::uint32_t frameCount) {
  m_framesSinceCheck += frameCount;
  m_gapFrames = m_framesWritten.load() == 0 ? 0 : m_silentFrames;
  m_silentFrames = 0;
  const std::size_t sampleBytes = m_format->sample.bytes();
  const std::size_t frameBytes = m_format->bytesPerFrame();
  const std::size_t begin = m_staged.size();
  m_lastBytes = frameCount * frameBytes;
  m_staged.resize(begin + m_lastBytes);
  std::byte* out = m_staged.data() + begin;
  if (std::ranges::is_sorted(m_order)) {
    std::memcpy(out, frames, m_lastBytes);
  } else {
    for (std::size_t channel = 0; channel < m_order.size(); ++channel) {
      copyChannel(sampleBytes, frames + m_order[channel] * sampleBytes, frameBytes,
                  out + channel * sampleBytes, frameBytes, frameCount);
    }
  }
  m_framesWritten += m_gapFrames + frameCount;
}

/// Keeps the last cycle, whose end may still be removed.
void StagedFile::writeStaged() {
  if (m_staged.size() >= kChunkBytes || m_silentFrames != 0 || m_gapFrames != 0) {
    flush(m_staged.size() - m_lastBytes);
  }
  if (m_framesSinceCheck >= m_format->rate) {
    m_framesSinceCheck = 0;
    m_file.check();
  }
}

void StagedFile::flush(std::size_t bytes) {
  m_file.write({m_staged.data(), bytes});
  m_staged.erase(m_staged.begin(), m_staged.begin() + static_cast<std::ptrdiff_t>(bytes));
  writeSilence(std::exchange(m_gapFrames, 0));
}

void StagedFile::writeSilence(std::uint64_t frames) {
  static constexpr std::array<std::byte, kChunkBytes> zeros{};
  const std::uint64_t frameBytes = m_format->bytesPerFrame();
  std::uint64_t bytesLeft = frames * frameBytes;
  const std::uint64_t piece = zeros.size() / frameBytes * frameBytes;
  while (bytesLeft != 0 && !m_file.failure()) {
    const auto count = static_cast<std::size_t>(std::min(bytesLeft, piece));
    m_file.write({zeros.data(), count});
    bytesLeft -= count;
  }
}

void StagedFile::trimEnd(std::uint32_t frames) {
  if (!m_format) {
    return;
  }
  const std::size_t frameBytes = m_format->bytesPerFrame();
  const std::size_t taken = std::min<std::size_t>(frames, m_lastBytes / frameBytes);
  m_lastBytes -= taken * frameBytes;
  m_staged.resize(m_staged.size() - taken * frameBytes);
  m_silentFrames += taken;
  m_framesWritten -= taken;
}

void StagedFile::finish() {
  if (m_format) {
    flush(m_staged.size() - m_lastBytes);
    m_file.write(m_staged);
  }
  m_file.finish();
}

}  // namespace Platform
