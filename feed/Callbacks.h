// SPDX-License-Identifier: MIT

#pragma once

#include <AudioUnit/AudioUnit.h>
#include <CoreAudio/CoreAudio.h>

#include <atomic>

#include "feed/Feed.h"
#include "locks/NonBlocking.h"

namespace Tavro {

/// What the PCM callback produces, and its source. Constant while callbacks can come, except for
/// the peer, which is only compared with null.
struct PcmStream {
  const AudioStreamBasicDescription& format;
  const std::atomic<PortInterface*>& peer;
};

/// Fills the first buffer of `target` with `frames` frames from the queue, in step with the graph
/// clock, or with silence, which it flags. [render-thread]
void renderPcm(Feed& feed, const PcmStream& stream, AudioUnitRenderActionFlags* flags,
               UInt32 frames, AudioBufferList* target) TAVRO_NONBLOCKING;

/// Copies one queued burst, unchanged, to the buffer at `bufferIndex`. [render-thread]
void renderPassthrough(Feed& feed, UInt32 bufferIndex,
                       AudioBufferList* outputData) TAVRO_NONBLOCKING;

}  // namespace Tavro
