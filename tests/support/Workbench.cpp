// SPDX-License-Identifier: MIT

#include "tests/support/Workbench.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace fs = std::filesystem;

std::size_t Result::errorLines() const {
  return static_cast<std::size_t>(std::count(err.begin(), err.end(), '\n'));
}

testing::AssertionResult says(const std::string& text, const std::string& words) {
  return testing::AssertionResult(text.find(words) != std::string::npos)
         << "'" << words << "' in: " << text;
}

testing::AssertionResult saysInOneLine(const Result& result, int status, const std::string& words) {
  return testing::AssertionResult(result.status == status && result.errorLines() == 1 &&
                                  says(result.err, words))
         << "status " << result.status << ", '" << words << "' in: " << result.err;
}

std::vector<char*> argumentsOf(Words& words) {
  std::vector<char*> arguments;
  for (std::string& word : words) {
    arguments.push_back(word.data());
  }
  arguments.push_back(nullptr);
  return arguments;
}

void execute(Words command) {
  signal(SIGHUP, SIG_DFL);
  setenv("TSAN_OPTIONS", "atexit_sleep_ms=0", 0);  // else a second for each process
  execvp(command[0].c_str(), argumentsOf(command).data());
  _exit(127);
}

Workbench::Workbench() {
  std::string name = (fs::temp_directory_path() / "player-test-XXXXXX").string();
  folder = mkdtemp(name.data());
}

Workbench::~Workbench() { fs::remove_all(folder); }

pid_t Workbench::begin(const std::string& program, const Words& arguments,
                       const std::string& name) const {
  const pid_t process = fork();
  if (process == 0) {
    Words command{program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    const int output = open(path(name + ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int errors = open(path(name + ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    dup2(output, STDOUT_FILENO);
    dup2(errors, STDERR_FILENO);
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    if (chdir(folder.c_str()) == 0) {
      execute(command);
    }
    _exit(127);
  }
  return process;
}

Result Workbench::end(pid_t process, const std::string& name) const {
  int status = 0;
  waitpid(process, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
          readText(path(name + ".out")), readText(path(name + ".err"))};
}

Result Workbench::endBy(int signal, pid_t process) const {
  kill(process, signal);
  return end(process);
}

Result Workbench::playOn(const std::string& device, const Wave& in, const Words& options) const {
  writeWave(path("in.wav"), in);
  Words arguments{"--device", device, "--json", "totals"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  arguments.push_back("in.wav");
  return play(arguments);
}

nlohmann::json Workbench::totals() const {
  return nlohmann::json::parse(readFile(path("totals")), nullptr, false);
}

void Workbench::expectAllArrived(const Wave& in, const Result& result, const Bytes& played) const {
  ASSERT_EQ(result.status, 0) << result.err;
  const nlohmann::json all = totals();
  EXPECT_EQ(all["callbacks"]["silent_between"], 0);
  EXPECT_GE(all["cycles"]["frames_heard"], in.frames());
  EXPECT_TRUE(liesIn(played, in.data, in.shape.frameBytes())) << all["cycles"];
}

bool Workbench::eventually(const std::function<bool()>& isSo) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(30);
  while (!isSo()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

bool Workbench::eventuallySaid(const std::string& words) const {
  return eventually([&] { return bool{says(readText(path("program.err")), words)}; });
}

void Workbench::ffmpeg(Words arguments) const {
  arguments.insert(arguments.begin(), {"-v", "error", "-nostdin", "-y"});
  const Result result = run("ffmpeg", arguments, "ffmpeg");
  ASSERT_EQ(result.status, 0) << result.err;
}

void Workbench::encode(const std::string& name, const Ac3Shape& shape) const {
  const std::string source = "anoisesrc=color=pink:seed=7:r=" + std::to_string(shape.rate) +
                             ":d=" + std::to_string(shape.seconds);
  ffmpeg({"-f", "lavfi", "-i", source, "-ac", std::to_string(shape.channels), "-c:a", "ac3", "-b:a",
          std::to_string(shape.kilobits) + "k", name});
}

Bytes Workbench::burstsOf(const std::string& name) const {
  ffmpeg({"-i", name, "-c:a", "copy", "-f", "spdif", "bursts"});
  return readFile(path("bursts"));
}

Bytes Workbench::received(const std::string& name) const {
  ffmpeg({"-f", "spdif", "-i", name, "-c", "copy", "-f", "ac3", "received"});
  return readFile(path("received"));
}
