// SPDX-License-Identifier: MIT

#include "platform/device/CycleBuffers.h"

#include <cstring>

#include "platform/device/DeviceState.h"

namespace Platform {

CycleBuffers::CycleBuffers(std::size_t streamCount) : m_memory(streamCount) {
  m_list.resize(sizeof(AudioBufferList) + streamCount * sizeof(AudioBuffer));
}

void CycleBuffers::allocate(const std::vector<DriverStream>& streams) {
  for (std::size_t i = 0; i < m_memory.size(); ++i) {
    m_memory[i].resize(bufferBytes(streams[i], kMaxFrames));
  }
}

void CycleBuffers::prepare(const std::vector<DriverStream>& streams,
                           std::uint32_t frames) TAVRO_NONBLOCKING {
  list().mNumberBuffers = static_cast<UInt32>(m_memory.size());
  for (std::size_t i = 0; i < m_memory.size(); ++i) {
    const DriverStream& stream = streams[i];
    const std::size_t bytes = bufferBytes(stream, frames);
    std::memset(m_memory[i].data(), 0, bytes);
    list().mBuffers[i] = {.mNumberChannels = stream.format.mChannelsPerFrame,
                          .mDataByteSize = static_cast<UInt32>(bytes),
                          .mData = stream.withoutMemory ? nullptr : m_memory[i].data()};
  }
}

}  // namespace Platform
