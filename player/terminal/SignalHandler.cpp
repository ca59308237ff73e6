// SPDX-License-Identifier: MIT

#include "player/terminal/SignalHandler.h"

#include <atomic>
#include <signal.h>
#include <unistd.h>

#include "player/terminal/Keyboard.h"

namespace Player::SignalHandler {

namespace {

constexpr int kNone = 0;

std::atomic<bool> s_endsCleanly{false};
std::atomic<int> s_requested{kNone};  // the first signal

constexpr int statusOf(int signal) { return 128 + signal; }

void onSignal(int signal) {
  int none = kNone;
  if (!s_endsCleanly.load() || !s_requested.compare_exchange_strong(none, signal)) {
    Keyboard::giveBack();
    _exit(statusOf(signal));
  }
}

}  // namespace

void install() {
  struct sigaction action {};
  action.sa_handler = onSignal;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
  struct sigaction hangUp {};
  sigaction(SIGHUP, nullptr, &hangUp);
  if (hangUp.sa_handler != SIG_IGN) {  // ignored under nohup
    sigaction(SIGHUP, &action, nullptr);
  }
  signal(SIGPIPE, SIG_IGN);  // writing fails instead
  signal(SIGXFSZ, SIG_IGN);
}

void endCleanly() { s_endsCleanly.store(true); }

std::optional<ExitStatus> requested() {
  const int signal = s_requested.load(std::memory_order_relaxed);
  return signal == kNone ? std::nullopt : std::optional(static_cast<ExitStatus>(statusOf(signal)));
}

}  // namespace Player::SignalHandler
