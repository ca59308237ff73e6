// SPDX-License-Identifier: MIT

#include "player/terminal/Keyboard.h"

#include <atomic>
#include <signal.h>
#include <termios.h>
#include <unistd.h>
#include <utility>

#include "player/terminal/Terminal.h"

// The signal handlers call async-signal-safe functions only.

namespace Player {

namespace {

// Interrupt handles SIGINT, SIGTERM and SIGHUP, and restores the terminal if it ends the process.
constexpr int kEndings[] = {SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

termios s_former;                  // written before s_taken
std::atomic<bool> s_taken{false};  // the terminal's settings are changed

/// Reading or changing the terminal in the background would stop the process.
bool isInForeground() { return Terminal::isOurs(STDIN_FILENO); }

/// Saves the former settings, unless they are still those of an earlier call.
void takeTerminal() {
  termios single{};
  if (tcgetattr(STDIN_FILENO, &single) != 0) {
    return;
  }
  if ((single.c_lflag & ICANON) != 0) {
    s_former = single;
  }
  single.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  single.c_cc[VMIN] = 0;  // a read does not block
  single.c_cc[VTIME] = 0;
  s_taken.store(true);
  tcsetattr(STDIN_FILENO, TCSADRAIN, &single);
}

void onEnding(int signal) {
  Keyboard::giveBack();
  raise(signal);  // now with its default action
}

void onStop(int) {
  Keyboard::giveBack();
  raise(SIGSTOP);
}

/// The shell has set the terminal meanwhile, also after a SIGSTOP, which has no handler.
void onContinue(int) { s_taken.store(false); }

void handle(int signal, void (*handler)(int), int flags) {
  struct sigaction former {};
  if (sigaction(signal, nullptr, &former) != 0 || former.sa_handler != SIG_DFL) {
    return;  // another handler, or ignored on purpose
  }
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigaction(signal, &action, nullptr);
}

std::optional<Key> arrow(char lastByte) {
  switch (lastByte) {
    case 'C':
      return Key::Forward;
    case 'D':
      return Key::Back;
    default:
      return std::nullopt;
  }
}

std::optional<Key> plainKey(char byte) {
  switch (byte) {
    case ' ':
      return Key::Pause;
    case 'q':
      return Key::Quit;
    default:
      return std::nullopt;
  }
}

bool canBeUsed() {
  return isatty(STDIN_FILENO) == 1 && isatty(STDERR_FILENO) == 1 &&
         tcgetattr(STDIN_FILENO, &s_former) == 0;
}

}  // namespace

/// Parses ESC [ or ESC O, optional parameters, and a last byte, which names the arrow if there are
/// no parameters.
std::optional<Key> KeyReader::take(char byte) {
  const Within within = std::exchange(m_within, Within::Nothing);
  if (byte == '\033') {
    m_within = Within::Escape;
  } else if (within == Within::Escape && (byte == '[' || byte == 'O')) {
    m_within = Within::Sequence;
  } else if (within >= Within::Sequence && byte < '@') {
    m_within = Within::Parameters;
  } else if (within == Within::Sequence) {
    return arrow(byte);
  } else if (within == Within::Nothing) {
    return plainKey(byte);
  }
  return std::nullopt;
}

Keyboard::Keyboard(bool wanted) : m_inUse(wanted && canBeUsed()) {
  if (!m_inUse) {
    return;
  }
  for (const int signal : kEndings) {
    handle(signal, onEnding, static_cast<int>(SA_RESETHAND | SA_NODEFER));
  }
  handle(SIGTSTP, onStop, SA_RESTART);
  handle(SIGCONT, onContinue, SA_RESTART);
}

Keyboard::~Keyboard() { giveBack(); }

void Keyboard::giveBack() {
  if (s_taken.exchange(false) && isInForeground()) {
    tcsetattr(STDIN_FILENO, TCSANOW, &s_former);
  }
}

std::optional<Key> Keyboard::next() {
  if (!m_inUse || !isInForeground()) {
    return std::nullopt;
  }
  if (!s_taken.load()) {  // at first, and after a stop
    takeTerminal();
  }
  char byte = 0;
  while (read(STDIN_FILENO, &byte, 1) == 1) {
    if (const std::optional<Key> key = m_reader.take(byte)) {
      return key;
    }
  }
  return std::nullopt;
}

}  // namespace Player
