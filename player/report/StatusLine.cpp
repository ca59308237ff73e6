// SPDX-License-Identifier: MIT

#include "player/report/StatusLine.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <unistd.h>

#include "player/terminal/Terminal.h"
#include "tavro_core/Log.h"

namespace Player {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kOnTerminal{200};
constexpr milliseconds kElsewhere{10'000};
constexpr const char* kClearLine = "\r\033[K";

void put(const std::string& text) { std::fputs(text.c_str(), stderr); }

std::string clockText(double seconds) {
  const auto tenths = static_cast<std::uint64_t>(seconds * 10);
  const std::uint64_t whole = tenths / 10;
  return fmt::format("{}:{:02}:{:02}.{}", whole / 3600, whole / 60 % 60, whole % 60, tenths % 10);
}

}  // namespace

StatusLine::StatusLine(bool shown)
    : m_shown(shown),
      m_onTerminal(isatty(STDERR_FILENO) == 1),
      m_next(std::chrono::steady_clock::now() + (m_onTerminal ? milliseconds{0} : kElsewhere)) {
  if (m_shown && m_onTerminal) {
    Tavro::setLogSink([](Tavro::LogLevel, std::string_view line) {
      put(fmt::format("{}{}\n", Terminal::isOurs(STDERR_FILENO) ? kClearLine : "", line));
    });
  }
}

StatusLine::~StatusLine() {
  if (m_shown && m_onTerminal) {
    Tavro::setLogSink({});
    if (Terminal::isOurs(STDERR_FILENO)) {
      put(kClearLine);
    }
  }
}

void StatusLine::show(const Status& status) {
  const auto now = std::chrono::steady_clock::now();
  if (!m_shown || now < m_next || (m_onTerminal && !Terminal::isOurs(STDERR_FILENO))) {
    return;
  }
  m_next = now + (m_onTerminal ? kOnTerminal : kElsewhere);
  const std::string total = status.totalSeconds > 0 ? " / " + clockText(status.totalSeconds) : "";
  std::string text = fmt::format("{}{}  queue {}  {}", clockText(status.elapsedSeconds), total,
                                 status.queued, nameOf(status.state));
  const unsigned columns = m_onTerminal ? Terminal::columns(STDERR_FILENO) : 0;
  if (columns > 0) {
    text.resize(std::min<std::size_t>(text.size(), columns - 1));  // the last column may wrap
  }
  put(m_onTerminal ? kClearLine + text : "tavro-play: " + text + "\n");
}

}  // namespace Player
