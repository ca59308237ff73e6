// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>

#include "player/device/Device.h"
#include "player/engine/RenderStats.h"
#include "player/report/EventFile.h"
#include "player/source/Playlist.h"
#include "tavro_core/Session.h"
#include "time/HostTime.h"

namespace Player {

/// Totals over all streams of a run.
struct StreamCounts {
  std::uint64_t pcmBuffers = 0;
  std::uint64_t bursts = 0;     // one for each AC-3 frame
  std::uint64_t sentAgain = 0;  // bursts taken back by a pause and resent
  std::uint64_t seeks = 0;
};

/// What all streams of a run share.
struct PlaybackContext {
  Tavro::Session& session;
  Playlist& playlist;
  const Device& device;
  RenderStats& watch;
  Tavro::HostTime::Signal& wake;  // end of a stream, return of its buffers
  StreamCounts& counts;
  std::uint32_t bufferMs;                      // decoded audio per buffer
  std::function<void(std::uint64_t ns)> wait;  // for `ns` or until woken; throws PlayerError
  std::function<void(PlayerState state)> enter;
  std::function<void(std::size_t position)> enterTrack;  // as often as convenient
};

}  // namespace Player
