// SPDX-License-Identifier: MIT

#pragma once

#include <alsa/asoundlib.h>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "platform/drivers/alsa/AlsaChannels.h"
#include "platform/drivers/alsa/Pcm.h"

namespace Platform {

/// Writes a stream's frames to its PCM, a cycle at a time, with the channels in the PCM's order.
/// Keeps account of the frames between here and playback. On the stream's thread only.
class PcmWriter {
 public:
  /// Stores the delay from here to playback in `latencyFrames`, which outlives it.
  PcmWriter(const PcmSetup& setup, std::atomic<std::uint32_t>& latencyFrames);

  /// Sets the channels' order: where the PCM has them, and where the layer does. Equal by default.
  void setPositions(const Positions& ofPcm, const Positions& ofLayer);

  /// Stores a cycle's frames, with no call of libasound. [io-thread], under the device's I/O lock
  void store(const std::byte* frames, std::uint32_t frameCount);
  /// Writes what is stored as far as there is room. Returns 0 or libasound's error.
  int flush(snd_pcm_t* pcm);
  /// What was written before is not played any more: the PCM was prepared again.
  void restart();

  bool hasPending() const { return m_pendingFrames != 0; }
  bool isAtFront() const { return m_isAtFront; }  // nothing written since it was prepared

 private:
  void readDelay(snd_pcm_t* pcm);

  const PcmSetup m_setup;
  const std::size_t m_frameBytes;
  std::atomic<std::uint32_t>& m_latencyFrames;
  std::vector<std::size_t> m_order;   // layer's channel for each of the PCM's; empty: the same
  std::vector<std::byte> m_frames;    // of one cycle, in the PCM's order
  std::uint32_t m_pendingFrames = 0;  // of these, not written yet: the last ones
  std::uint32_t m_cycleFrames = 0;    // in m_frames
  std::uint32_t m_delayFrames = 0;    // of what is written
  bool m_isAtFront = true;
};

}  // namespace Platform
