// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "player/engine/Output.h"
#include "player/engine/PlaybackContext.h"
#include "player/engine/Progress.h"
#include "player/source/Source.h"

namespace Player {

/// Detects whether the device runs cycles; poll it several times a second.
class CycleFlow {
 public:
  bool areRunning(const Device& device);

 private:
  std::uint64_t m_cycles = 0;
  RunningTime m_since;  // the last new cycle
};

/// Holds the graph's clock while the device runs no cycles: it would continue by host time, and
/// late buffers would be dropped. For decoded audio. [host-thread]
class ClockHold {
 public:
  ClockHold(const PlaybackContext& stage, Source& source, Connection& connection)
      : m_stage(stage), m_source(source), m_connection(connection) {}

  /// Holds or restarts the clock as the device requires. Call several times a second while the
  /// stream plays.
  void update();

  /// Call before the stream is started again, with the clock.
  void reset();

 private:
  void hold();
  void restart();

  const PlaybackContext& m_stage;
  Source& m_source;
  Connection& m_connection;
  bool m_isHeld = false;
  CycleFlow m_cycles;
};

}  // namespace Player
