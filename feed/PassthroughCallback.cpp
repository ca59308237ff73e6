#include <cstring>

#include "coreaudio/CoreAudioOutput.h"

// The passthrough I/O procedure: one queued burst per device cycle, unchanged. Nothing is
// converted, aligned with a clock, reported or counted here. The front stays in the queue while its
// bytes are copied outside the lock.

namespace Tavro {
namespace {

// A burst of 1536 frames of the two-channel, 16-bit carrier.
constexpr UInt32 kBurstBytes = 6144;

}  // namespace

void CoreAudioOutput::renderPassthrough(AudioBufferList* outputData) {
  if (outputData == nullptr || m_outputStreamIndex >= outputData->mNumberBuffers) {
    return;
  }
  const AudioBuffer& target = outputData->mBuffers[m_outputStreamIndex];
  QueuedBuffer front;
  if (target.mData == nullptr || !takeFront(front)) {
    return;
  }
  front.lockData();
  if (target.mDataByteSize == kBurstBytes && front.m_size == kBurstBytes) {
    std::memcpy(target.mData, front.m_data, kBurstBytes);
  }
  front.unlockData();
  front.release();
  popFront();
}

OSStatus passthroughIOProc(AudioObjectID /*device*/, const AudioTimeStamp* /*now*/,
                           const AudioBufferList* /*inputData*/,
                           const AudioTimeStamp* /*inputTime*/, AudioBufferList* outputData,
                           const AudioTimeStamp* /*outputTime*/, void* clientData) {
  if (clientData != nullptr) {
    static_cast<CoreAudioOutput*>(clientData)->renderPassthrough(outputData);
  }
  return noErr;
}

}  // namespace Tavro
