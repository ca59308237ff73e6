// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "player/ffmpeg/Ffmpeg.h"
#include "player/media/Decoders.h"

namespace Player {

/// A pipe or a terminal as input. Opening never waits and reading stops waiting on request, even if
/// no program has opened the other end.
class PipeInput {
 public:
  /// Returns null for anything but a pipe or a character device, or if it cannot be opened.
  static std::unique_ptr<PipeInput> openIfPipe(const std::string& path, ShouldStop shouldStop);
  ~PipeInput();
  PipeInput(const PipeInput&) = delete;
  PipeInput& operator=(const PipeInput&) = delete;

  AVIOContext* context() const { return m_context; }

 private:
  PipeInput(int file, ShouldStop shouldStop);
  static int onRead(void* input, std::uint8_t* to, int size);
  int read(std::uint8_t* to, int size) const;

  const int m_file;
  const ShouldStop m_shouldStop;
  AVIOContext* m_context;
};

}  // namespace Player
