// SPDX-License-Identifier: MIT

#pragma once

#include <CoreAudio/CoreAudio.h>

#include <cstdint>

#include "locks/NonBlocking.h"

namespace Platform {

struct Cycle {
  AudioBufferList& buffers;  // one per stream
  std::uint32_t frames;
  const AudioTimeStamp& time;
  bool mix;  // the buffers hold another client's sound
};

/// A client that plays on a device: a unit or an I/O procedure.
class Client {
 public:
  virtual ~Client() = default;
  virtual bool play(const Cycle& cycle) TAVRO_NONBLOCKING = 0;  // true if only silence; [io-thread]
  virtual void deviceChanged() {}  // between cycles, under the device's I/O lock
};

}  // namespace Platform
