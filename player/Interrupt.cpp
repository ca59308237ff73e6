#include "player/Interrupt.h"

#include <atomic>
#include <signal.h>
#include <unistd.h>

#include "player/ExitStatus.h"
#include "player/Keyboard.h"

namespace Player::Interrupt {

namespace {

std::atomic<bool> s_requested{false};

void onSignal(int) {
  if (s_requested.exchange(true)) {
    Keyboard::giveBack();
    _exit(static_cast<int>(ExitStatus::Interrupted));
  }
}

}  // namespace

void install() {
  struct sigaction action {};
  action.sa_handler = onSignal;
  action.sa_flags = SA_RESTART;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

bool isRequested() { return s_requested.load(std::memory_order_relaxed); }

}  // namespace Player::Interrupt
