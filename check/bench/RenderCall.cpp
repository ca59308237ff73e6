// SPDX-License-Identifier: MIT

#include "check/bench/RenderCall.h"

#include <algorithm>

#include "time/HostTime.h"

namespace Check {
namespace {

namespace HostTime = Tavro::HostTime;

constexpr std::size_t kGuardBytes = 64;
constexpr std::uint8_t kGuard = 0xA5;

bool isGuard(std::uint8_t byte) { return byte == kGuard; }

}  // namespace

Rendered callRender(const BuiltOutput& output, UInt32 frames, UInt32 capacity) {
  Bytes memory(capacity + 2 * kGuardBytes, kGuard);
  const auto begin = memory.begin() + kGuardBytes;
  const auto end = begin + capacity;
  std::fill(begin, end, kUnwritten);
  AudioBufferList list{1, {{99, capacity, memory.data() + kGuardBytes}}};
  Rendered result{};
  const AudioTimeStamp time{};
  const AURenderCallbackStruct callback = output.callback;
  const std::uint64_t before = HostTime::now();
  Watch::startSection();
  result.status =
      callback.inputProc(callback.inputProcRefCon, &result.flags, &time, 0, frames, &list);
  result.section = Watch::endSection();
  result.sleptNs = HostTime::now() - before;
  result.byteSize = list.mBuffers[0].mDataByteSize;
  result.channels = list.mBuffers[0].mNumberChannels;
  result.bytes.assign(begin, end);
  result.staysWithinMemory =
      std::all_of(memory.begin(), begin, isGuard) && std::all_of(end, memory.end(), isGuard);
  return result;
}

}  // namespace Check
