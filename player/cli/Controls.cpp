// SPDX-License-Identifier: MIT

#include "player/cli/Controls.h"

#include <algorithm>
#include <utility>

#include "player/base/ExitStatus.h"
#include "time/HostTime.h"
#include "time/Nanoseconds.h"

namespace Player {

namespace {

constexpr std::uint64_t kPauseLookNs = 20 * Tavro::kNanosPerMs;
constexpr std::int64_t kStepNs = 5'000'000'000;

/// Returns true once, when `timeNs` is reached.
bool isDue(std::optional<std::uint64_t>& timeNs, std::uint64_t nowNs) {
  const bool due = timeNs && nowNs >= *timeNs;
  if (due) {
    timeNs.reset();
  }
  return due;
}

}  // namespace

Controls::Controls(const Options& options, Tavro::Clock& clock, bool withKeyboard, Wait wait)
    : m_clock(clock),
      m_wait(std::move(wait)),
      m_keyboard(withKeyboard),
      m_pauseAtNs(options.pauseAtNs),
      m_pauseForNs(options.pauseForNs),
      m_seekAtNs(options.seekAtNs),
      m_seekToNs(options.seekToNs) {}

bool Controls::serve(Playback& playback) {
  bool served = false;
  do {
    served |= serveTimes(playback);
    served |= serveKeys(playback);
    if (playback.isPaused()) {
      m_wait(std::min(kPauseLookNs, untilResumeNs()));
    }
  } while (playback.isPaused());
  return served;
}

bool Controls::serveTimes(Playback& playback) {
  const std::uint64_t graphNs = m_clock.currentTime() * Tavro::kNanosPerMs;
  bool served = false;
  if (isDue(m_pauseAtNs, graphNs)) {
    playback.pause();
    m_resumeAtNs = Tavro::HostTime::now() + m_pauseForNs;
    served = true;
  }
  if (isDue(m_seekAtNs, graphNs)) {
    playback.seek({static_cast<std::int64_t>(m_seekToNs), false});
    served = true;
  }
  if (isDue(m_resumeAtNs, Tavro::HostTime::now()) && playback.isPaused()) {
    playback.resume();
    served = true;
  }
  return served;
}

bool Controls::serveKeys(Playback& playback) {
  bool served = false;
  while (const std::optional<Key> key = m_keyboard.next()) {
    served = true;
    switch (*key) {
      case Key::Pause:
        playback.isPaused() ? playback.resume() : playback.pause();
        break;
      case Key::Back:
        playback.seek({-kStepNs, true});
        break;
      case Key::Forward:
        playback.seek({kStepNs, true});
        break;
      case Key::Quit:
        throw StoppedByUser{};
    }
  }
  return served;
}

std::uint64_t Controls::untilResumeNs() const {
  const std::uint64_t nowNs = Tavro::HostTime::now();
  const std::uint64_t endNs = m_resumeAtNs.value_or(Tavro::HostTime::kNever);
  return endNs - std::min(endNs, nowNs);
}

}  // namespace Player
