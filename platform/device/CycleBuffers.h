// SPDX-License-Identifier: MIT

#pragma once

#include <CoreAudio/CoreAudio.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "locks/NonBlocking.h"
#include "platform/driver/Driver.h"
#include "time/RealTime.h"

namespace Platform {

/// The buffers that the clients of a device write into, one per stream, in locked memory. Guarded
/// by the device's I/O lock.
class CycleBuffers {
 public:
  static constexpr std::uint32_t kMaxFrames = 4096;

  explicit CycleBuffers(std::size_t streamCount);

  /// Allocates what the largest cycle needs. Between cycles.
  void allocate(const std::vector<DriverStream>& streams);
  /// Makes one zeroed buffer per stream, for up to kMaxFrames frames. [io-thread]
  void prepare(const std::vector<DriverStream>& streams, std::uint32_t frames) TAVRO_NONBLOCKING;

  AudioBufferList& list() { return *reinterpret_cast<AudioBufferList*>(m_list.data()); }

 private:
  std::vector<Tavro::RealTime::LockedVector<std::byte>> m_memory;  // one per stream
  Tavro::RealTime::LockedVector<std::byte> m_list;  // an AudioBufferList of that many
};

}  // namespace Platform
