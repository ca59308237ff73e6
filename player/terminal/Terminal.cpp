// SPDX-License-Identifier: MIT

#include "player/terminal/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace Player::Terminal {

/// A terminal other than the controlling one has no foreground, and so no background.
bool isOurs(int file) {
  const pid_t foreground = tcgetpgrp(file);
  return foreground == -1 || foreground == getpgrp();
}

unsigned columns(int file) {
  winsize size{};
  return ioctl(file, TIOCGWINSZ, &size) == 0 ? size.ws_col : 0;
}

}  // namespace Player::Terminal
