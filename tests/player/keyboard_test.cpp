// SPDX-License-Identifier: MIT

// The player on a terminal of its own.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fcntl.h>
#include <functional>
#include <pty.h>
#include <signal.h>
#include <string>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <utmp.h>

#include "tests/support/Workbench.h"

namespace {

class OnTerminal : public Workbench {
 protected:
  void SetUp() override {
    writeWave(path("in.wav"), noise({16, false, 2, 48000}, 48000 * 60));
    ASSERT_EQ(openpty(&m_screen, &m_terminal, nullptr, nullptr, nullptr), 0);
    fcntl(m_screen, F_SETFL, O_NONBLOCK);
  }

  void TearDown() override {
    if (m_process > 0) {
      kill(m_process, SIGKILL);
      end();
    }
    close(m_terminal);
    close(m_screen);
  }

  void playOnTerminal(const std::string& input = "in.wav", Words words = {}) {
    words.insert(words.end(), {PLAYER, "--real-time", "--device", "file:" + path("out.wav"),
                               "--json", path("totals"), "--events", path("events"), path(input)});
    m_process = fork();
    if (m_process == 0) {
      login_tty(m_terminal);
      execute(words);
    }
  }

  void press(const std::string& keys) const {
    ASSERT_EQ(write(m_screen, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  void await(const std::function<bool()>& isSo) {
    EXPECT_TRUE(eventually(isSo)) << "the last status line: " << statusLine();
  }
  /// Until the last status line is like that: the elapsed seconds and the state.
  using Condition = std::function<bool(double elapsedSeconds, const std::string& state)>;
  void await(const Condition& condition) {
    await([&] {
      double seconds = 0;
      std::array<char, 32> state{};
      return std::sscanf(statusLine().c_str(), "0:00:%lf / %*s queue %*d %31[a-z]", &seconds,
                         state.data()) == 2 &&
             condition(seconds, state.data());
    });
  }
  void await(const std::string& wanted) {
    await([&](double, const std::string& state) { return state == wanted; });
  }

  /// Until it is read key by key.
  void awaitKeys() {
    await([this] { return !readsLines(); });
  }

  /// The exit status, or the signal's number, negative. A full screen does not hold the player up.
  int end() {
    int status = 0;
    await([&] {
      screen();
      return waitpid(m_process, &status, WNOHANG) == m_process;
    });
    m_process = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  bool readsLines() const {
    termios now{};
    EXPECT_EQ(tcgetattr(m_terminal, &now), 0);
    return (now.c_lflag & ICANON) != 0 && (now.c_lflag & ECHO) != 0;
  }

  void resize(unsigned short columns) const {
    const winsize size{.ws_row = 25, .ws_col = columns, .ws_xpixel = 0, .ws_ypixel = 0};
    ASSERT_EQ(ioctl(m_screen, TIOCSWINSZ, &size), 0);
  }

  /// Reads what the player has written meanwhile, and returns all of it.
  const std::string& screen() {
    std::array<char, 4096> text;
    for (ssize_t count = 0; (count = read(m_screen, text.data(), text.size())) > 0;) {
      m_text.append(text.data(), static_cast<std::size_t>(count));
    }
    return m_text;
  }
  void forgetScreen() {
    screen();
    m_text.clear();
  }

  /// The last one, without what clears the line before it.
  std::string statusLine() {
    const std::string& text = screen();
    const std::size_t start = text.rfind("\033[K");
    return start != std::string::npos ? text.substr(start + 3) : "";
  }

  pid_t m_process = 0;

 private:
  int m_screen = -1;
  int m_terminal = -1;
  std::string m_text;
};

TEST_F(OnTerminal, keysPauseSeekAndStop) {
  playOnTerminal();
  awaitKeys();
  press("x\033[A ");
  await("paused");
  press("\033[C\033[1;5C\033OC");
  await(
      [](double seconds, const std::string& state) { return seconds >= 10 && state == "paused"; });
  press("\033[D\033[D\033[D");
  await([](double seconds, const std::string& state) { return seconds < 1 && state == "paused"; });
  press(" ");
  await("playing");
  press("q");
  EXPECT_EQ(end(), 0);
  EXPECT_EQ(screen().find("interrupted"), std::string::npos);
  EXPECT_TRUE(readsLines());
  EXPECT_EQ(totals()["seeks"], 5);
  EXPECT_EQ(totals()["buffers"]["dropped_late"], 0);
  EXPECT_EQ(totals()["buffers"]["balanced"], true);
}

/// A sanitizer would take the last of them for itself.
void leaveSignalsAlone() {
  for (const char* sanitizer : {"TSAN_OPTIONS", "ASAN_OPTIONS"}) {
    const char* const options = getenv(sanitizer);
    setenv(sanitizer, (std::string(options != nullptr ? options : "") + ":handle_segv=0").c_str(),
           1);
  }
}

TEST_F(OnTerminal, itComesBackAfterEverySignal) {
  leaveSignalsAlone();
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT, SIGSEGV}) {
    SCOPED_TRACE(signal);
    playOnTerminal();
    awaitKeys();
    kill(m_process, signal);
    const bool isHandled = signal == SIGINT || signal == SIGTERM || signal == SIGHUP;
    EXPECT_EQ(end(), isHandled ? 128 + signal : -signal);
    EXPECT_TRUE(readsLines());
    forgetScreen();
  }
}

TEST_F(OnTerminal, stoppedItLeavesTheTerminalAndLosesNothing) {
  const Wave in = noise({16, false, 2, 48000}, 48000 * 2);
  writeWave(path("short.wav"), in);
  for (const int signal : {SIGTSTP, SIGSTOP}) {
    SCOPED_TRACE(signal);
    playOnTerminal("short.wav");
    awaitKeys();
    await([](double seconds, const std::string&) { return seconds >= 0.4; });
    kill(m_process, signal);
    int status = 0;
    ASSERT_EQ(waitpid(m_process, &status, WUNTRACED), m_process);
    EXPECT_TRUE(WIFSTOPPED(status));
    EXPECT_EQ(readsLines(), signal == SIGTSTP);
    std::this_thread::sleep_for(std::chrono::milliseconds(700));
    kill(m_process, SIGCONT);
    awaitKeys();
    EXPECT_EQ(end(), 0);
    EXPECT_TRUE(readsLines());
    EXPECT_TRUE(isExactly(readWave(path("out.wav")), in.data));
    forgetScreen();
  }
}

TEST_F(OnTerminal, theStatusLineIsForTheForegroundAndNoWiderThanTheTerminal) {
  resize(20);
  playOnTerminal("in.wav", {"sh", "-c", "set -m; \"$@\" & read line; fg", "sh"});
  await([this] {
    return std::filesystem::exists(path("events")) && !readFile(path("events")).empty();
  });
  std::this_thread::sleep_for(std::chrono::milliseconds(300));
  EXPECT_EQ(screen().find("\033[K"), std::string::npos) << screen();
  EXPECT_TRUE(readsLines());
  press("\n");
  awaitKeys();
  for (const std::uint16_t columns : {std::uint16_t{20}, std::uint16_t{12}}) {
    resize(columns);
    await([&] { return statusLine().size() == columns - 1U; });
  }
  press("q");
  EXPECT_EQ(end(), 0);
}

}  // namespace
