// SPDX-License-Identifier: MIT

// Measures the time from a program's start to the first frame at the sink that is not silence.
// usage: first-sound PIPE COMMAND…
//
// PIPE is a sound server's pipe sink of 48 kHz, 8 channels of 32 bits. It is read in real time, a
// millisecond at a time, which clocks the sink; it holds one page, under 3 ms, which all
// measurements have in common. Prints milliseconds, and kills the program.

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <fcntl.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t kBytesPerMs = 1536;
constexpr milliseconds kIdle{300};  // before and after
constexpr milliseconds kPatience{20'000};

class Sink {
 public:
  explicit Sink(const char* path) : m_pipe(open(path, O_RDONLY | O_NONBLOCK)) {
    while (fcntl(m_pipe, F_SETPIPE_SZ, 4096) < 0 && errno == EBUSY) {  // the pipe holds more
      playNext();
    }
  }
  ~Sink() { close(m_pipe); }
  Sink(const Sink&) = delete;
  Sink& operator=(const Sink&) = delete;
  bool isOpen() const { return m_pipe >= 0; }

  /// Reads the next millisecond when it is due. Returns true if it holds any sound.
  bool playNext() {
    m_due += milliseconds(1);
    std::this_thread::sleep_until(m_due);
    std::array<char, kBytesPerMs> bytes{};
    const ssize_t count = read(m_pipe, bytes.data(), bytes.size());
    return std::any_of(bytes.begin(), bytes.begin() + std::max<ssize_t>(count, 0),
                       [](char byte) { return byte != 0; });
  }

  void play(milliseconds time) {
    for (milliseconds played{0}; played < time; ++played) {
      playNext();
    }
  }

 private:
  const int m_pipe;
  steady_clock::time_point m_due = steady_clock::now();
};

pid_t start(char** command) {
  const pid_t process = fork();
  if (process == 0) {
    const int nowhere = open("/dev/null", O_RDWR);
    for (const int each : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
      dup2(nowhere, each);
    }
    execvp(command[0], command);
    _exit(127);
  }
  return process;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::fprintf(stderr, "usage: first-sound PIPE COMMAND…\n");
    return 2;
  }
  Sink sink(argv[1]);
  if (!sink.isOpen()) {
    std::perror(argv[1]);
    return 1;
  }
  sink.play(kIdle);
  const auto begin = steady_clock::now();
  const pid_t process = start(argv + 2);
  bool heard = false;
  while (!heard && steady_clock::now() - begin < kPatience) {
    heard = sink.playNext();
  }
  const auto took =
      std::chrono::duration_cast<std::chrono::microseconds>(steady_clock::now() - begin);
  kill(process, SIGKILL);  // some would play to the end otherwise
  waitpid(process, nullptr, 0);
  sink.play(kIdle);
  if (!heard) {
    std::fprintf(stderr, "first-sound: %s played no sound\n", argv[2]);
    return 1;
  }
  std::printf("%.1f\n", static_cast<double>(took.count()) / 1000);
  return 0;
}
