// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "player/base/Options.h"
#include "player/engine/Playback.h"
#include "player/terminal/Keyboard.h"
#include "tavro_core/Clock.h"

namespace Player {

/// Pauses, seeks and stops playback on terminal keys and at the times set by options. [host-thread]
class Controls {
 public:
  /// Waits up to `ns`; throws PlayerError.
  using Wait = std::function<void(std::uint64_t ns)>;
  Controls(const Options& options, Tavro::Clock& clock, bool withKeyboard, Wait wait);

  /// Carries out pending actions and, while paused, blocks until playback resumes. Returns whether
  /// there was any action. Throws PlayerError and StoppedByUser.
  bool serve(Playback& playback);

 private:
  bool serveTimes(Playback& playback);
  bool serveKeys(Playback& playback);
  std::uint64_t untilResumeNs() const;

  Tavro::Clock& m_clock;
  const Wait m_wait;
  Keyboard m_keyboard;

  // Pending actions: pause and seek in graph time, resume in host time.
  std::optional<std::uint64_t> m_pauseAtNs;
  const std::uint64_t m_pauseForNs;
  std::optional<std::uint64_t> m_resumeAtNs;
  std::optional<std::uint64_t> m_seekAtNs;
  const std::uint64_t m_seekToNs;
};

}  // namespace Player
