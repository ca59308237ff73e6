// SPDX-License-Identifier: MIT

#include "platform/drivers/alsa/PcmWriter.h"

#include <algorithm>
#include <cstring>

#include "platform/format/CopySamples.h"

namespace Platform {

PcmWriter::PcmWriter(const PcmSetup& setup, std::atomic<std::uint32_t>& latencyFrames)
    : m_setup(setup),
      m_frameBytes(setup.format.bytesPerFrame()),
      m_latencyFrames(latencyFrames),
      m_frames(setup.cycleFrames * m_frameBytes) {}

void PcmWriter::setPositions(const Positions& ofPcm, const Positions& ofLayer) {
  if (ofPcm != ofLayer) {
    m_order = orderFor(ofPcm, ofLayer);
  }
}

/// Until it is known where the frames went, all of them count as not yet played.
void PcmWriter::store(const std::byte* frames, std::uint32_t frameCount) {
  m_cycleFrames = std::min(frameCount, m_setup.cycleFrames);
  m_pendingFrames = m_cycleFrames;
  const std::size_t channels = m_order.size();
  if (m_order.empty()) {
    std::memcpy(m_frames.data(), frames, m_cycleFrames * m_frameBytes);
  } else {
    const std::size_t sampleBytes = m_setup.format.sample.bytes();
    for (std::size_t i = 0; i < channels; ++i) {
      if (m_order[i] < channels) {
        copyChannel(sampleBytes, frames + m_order[i] * sampleBytes, m_frameBytes,
                    m_frames.data() + i * sampleBytes, m_frameBytes, m_cycleFrames);
      }
    }
  }
  m_latencyFrames.store(m_delayFrames + m_pendingFrames);
}

int PcmWriter::flush(snd_pcm_t* pcm) {
  while (m_pendingFrames != 0) {
    const std::byte* const first =
        m_frames.data() + (m_cycleFrames - m_pendingFrames) * m_frameBytes;
    const snd_pcm_sframes_t written = snd_pcm_writei(pcm, first, m_pendingFrames);
    if (written == -EAGAIN || written == 0) {
      return 0;
    }
    if (written < 0) {
      return static_cast<int>(written);
    }
    m_isAtFront = false;
    m_pendingFrames -= static_cast<std::uint32_t>(written);
  }
  readDelay(pcm);
  return 0;
}

void PcmWriter::readDelay(snd_pcm_t* pcm) {
  snd_pcm_sframes_t frames = 0;
  if (snd_pcm_delay(pcm, &frames) == 0) {
    m_delayFrames = static_cast<std::uint32_t>(std::max<snd_pcm_sframes_t>(frames, 0));
    m_latencyFrames.store(m_delayFrames);
  }
}

void PcmWriter::restart() {
  m_isAtFront = true;
  m_delayFrames = 0;
}

}  // namespace Platform
