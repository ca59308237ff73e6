// SPDX-License-Identifier: MIT

#include <cstring>

#include "feed/Callbacks.h"

// The passthrough I/O procedure: plays one queued burst per device cycle, unchanged. It does not
// convert, align with a clock, report or count anything. The front stays in the queue while its
// bytes are copied outside the lock.

namespace Tavro {
namespace {

// A burst of 1536 frames of the two-channel, 16-bit carrier.
constexpr UInt32 kBurstBytes = 6144;

}  // namespace

void renderPassthrough(Feed& feed, UInt32 bufferIndex,
                       AudioBufferList* outputData) TAVRO_NONBLOCKING {
  if (outputData == nullptr || bufferIndex >= outputData->mNumberBuffers) {
    return;
  }
  const AudioBuffer& target = outputData->mBuffers[bufferIndex];
  QueuedBuffer front;
  if (target.mData == nullptr || !feed.takeFront(front)) {
    return;
  }
  TAVRO_CALLS_OUT(front.lockData();)
  if (target.mDataByteSize == kBurstBytes && front.m_size == kBurstBytes) {
    std::memcpy(target.mData, front.m_data, kBurstBytes);
  }
  TAVRO_CALLS_OUT(front.unlockData();)
  TAVRO_CALLS_OUT(front.release();)
  feed.popFront();
}

}  // namespace Tavro
