// The player on a terminal of its own.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <array>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <mutex>
#include <pty.h>
#include <signal.h>
#include <string>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>
#include <utmp.h>

#include "tests/player/Wave.h"
#include "tests/player/Workbench.h"

namespace {

using nlohmann::json;

class OnTerminal : public Workbench {
 protected:
  void SetUp() override {
    writeWave(path("in.wav"), noise({16, false, 2, 48000}, 48000 * 60));
    ASSERT_EQ(openpty(&m_screen, &m_terminal, nullptr, nullptr, nullptr), 0);
    m_reader = std::thread([this] { readScreen(); });
  }

  void TearDown() override {
    if (m_process > 0) {
      kill(m_process, SIGKILL);
      end();
    }
    close(m_terminal);  // the last one, which ends the reader
    m_reader.join();
    close(m_screen);
  }

  void playOnTerminal() {
    Words words{PLAYER,   "--real-time",  "--device",    "file:" + path("out.wav"),
                "--json", path("totals"), path("in.wav")};
    std::vector<char*> arguments;
    for (std::string& word : words) {
      arguments.push_back(word.data());
    }
    arguments.push_back(nullptr);
    m_process = fork();
    if (m_process == 0) {
      login_tty(m_terminal);
      execv(PLAYER, arguments.data());
      _exit(127);
    }
  }

  void press(const std::string& keys) const {
    ASSERT_EQ(write(m_screen, keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
  }

  /// Until the last status line is like that: the elapsed seconds and the state.
  using Condition = std::function<bool(double elapsedSeconds, const std::string& state)>;
  void await(const Condition& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (std::chrono::steady_clock::now() < end) {
      double seconds = 0;
      std::array<char, 32> state{};
      if (std::sscanf(statusLine().c_str(), "0:00:%lf / %*s queue %*d %31[a-z]", &seconds,
                      state.data()) == 2 &&
          condition(seconds, state.data())) {
        return;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    FAIL() << "not seen; the last line: " << statusLine();
  }
  void await(const std::string& wanted) {
    await([&](double, const std::string& state) { return state == wanted; });
  }

  /// Until it is read key by key.
  void awaitKeys() const {
    for (int looks = 0; looks < 6000 && readsLines(); ++looks) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_FALSE(readsLines());
  }

  /// The exit status, or the signal's number, negative.
  int end() {
    int status = 0;
    waitpid(m_process, &status, 0);
    m_process = 0;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

  bool readsLines() const {
    termios now{};
    EXPECT_EQ(tcgetattr(m_terminal, &now), 0);
    return (now.c_lflag & ICANON) != 0 && (now.c_lflag & ECHO) != 0;
  }

  void forgetScreen() {
    const std::lock_guard guard(m_lock);
    m_text.clear();
  }

  json totals() const { return json::parse(std::ifstream(path("totals")), nullptr, false); }

  pid_t m_process = 0;

 private:
  void readScreen() {
    std::array<char, 4096> text;
    for (ssize_t count = 0; (count = read(m_screen, text.data(), text.size())) > 0;) {
      const std::lock_guard guard(m_lock);
      m_text.append(text.data(), static_cast<std::size_t>(count));
    }
  }

  /// The last one, without what clears the line before it.
  std::string statusLine() {
    const std::lock_guard guard(m_lock);
    const std::size_t start = m_text.rfind("\033[K");
    return start != std::string::npos ? m_text.substr(start + 3) : "";
  }

  int m_screen = -1;
  int m_terminal = -1;
  std::thread m_reader;
  std::mutex m_lock;
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
  press("\033[D");
  await([](double seconds, const std::string& state) { return seconds < 10 && state == "paused"; });
  press(" ");
  await("playing");
  press("q");
  EXPECT_EQ(end(), 130);
  EXPECT_TRUE(readsLines());
  EXPECT_EQ(totals()["seeks"], 3);
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
    EXPECT_EQ(end(), signal == SIGINT || signal == SIGTERM ? 130 : -signal);
    EXPECT_TRUE(readsLines());
    forgetScreen();
  }
}

TEST_F(OnTerminal, stoppedItIsTheShells) {
  playOnTerminal();
  awaitKeys();
  press(" ");
  await("paused");
  kill(m_process, SIGTSTP);
  int status = 0;
  ASSERT_EQ(waitpid(m_process, &status, WUNTRACED), m_process);
  EXPECT_TRUE(WIFSTOPPED(status));
  EXPECT_TRUE(readsLines());
  kill(m_process, SIGCONT);
  awaitKeys();
  press(" ");
  await("playing");
  press("q");
  EXPECT_EQ(end(), 130);
}

}  // namespace
