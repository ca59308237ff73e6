#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "player/base/Options.h"
#include "player/engine/Playback.h"
#include "player/terminal/Keyboard.h"
#include "tavro_core/Clock.h"

namespace Player {

/// What interferes with playback: the keys of the terminal, and what the options have set for a
/// certain time. [host-thread]
class Controls {
 public:
  /// `wait` so long; throws PlayerError.
  using Wait = std::function<void(std::uint64_t ns)>;
  Controls(const Options& options, Tavro::Clock& clock, bool withKeyboard, Wait wait);

  /// Does what is due, and comes back when it is not paused any more; answers whether anything was.
  /// Throws PlayerError, and StoppedByUser.
  bool serve(Playback& playback);

 private:
  bool serveTimes(Playback& playback);
  bool serveKeys(Playback& playback);
  std::uint64_t untilResumeNs() const;

  Tavro::Clock& m_clock;
  const Wait m_wait;
  Keyboard m_keyboard;

  // What is still to come: when in graph time, and until when in host time.
  std::optional<std::uint64_t> m_pauseAtNs;
  const std::uint64_t m_pauseForNs;
  std::optional<std::uint64_t> m_resumeAtNs;
  std::optional<std::uint64_t> m_seekAtNs;
  const std::uint64_t m_seekToNs;
};

}  // namespace Player
