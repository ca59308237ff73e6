#include "tests/support/Workbench.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

constexpr const char* kOut = "program.out";
constexpr const char* kErr = "program.err";

std::string textOf(const fs::path& path) {
  const Bytes bytes = readFile(path);
  return std::string(bytes.begin(), bytes.end());
}

[[noreturn]] void execute(const fs::path& folder, const std::string& program, const Words& words) {
  std::vector<char*> arguments{const_cast<char*>(program.c_str())};
  for (const std::string& word : words) {
    arguments.push_back(const_cast<char*>(word.c_str()));
  }
  arguments.push_back(nullptr);
  if (chdir(folder.c_str()) == 0) {
    dup2(open(kOut, O_WRONLY | O_CREAT | O_TRUNC, 0600), STDOUT_FILENO);
    dup2(open(kErr, O_WRONLY | O_CREAT | O_TRUNC, 0600), STDERR_FILENO);
    dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
    signal(SIGHUP, SIG_DFL);
    setenv("TSAN_OPTIONS", "atexit_sleep_ms=0", 0);  // else a second for each process
    execvp(program.c_str(), arguments.data());
  }
  _exit(127);
}

}  // namespace

std::size_t Result::errorLines() const {
  return static_cast<std::size_t>(std::count(err.begin(), err.end(), '\n'));
}

Bytes readFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(file), {});
}

void writeFile(const fs::path& path, const Bytes& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

Workbench::Workbench() {
  std::string name = (fs::temp_directory_path() / "player-test-XXXXXX").string();
  folder = mkdtemp(name.data());
}

Workbench::~Workbench() { fs::remove_all(folder); }

pid_t Workbench::begin(const std::string& program, const Words& arguments) const {
  const pid_t process = fork();
  if (process == 0) {
    execute(folder, program, arguments);
  }
  return process;
}

Result Workbench::end(pid_t process) const {
  int status = 0;
  waitpid(process, &status, 0);
  return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), textOf(folder / kOut),
          textOf(folder / kErr)};
}

Result Workbench::run(const std::string& program, const Words& arguments) const {
  return end(begin(program, arguments));
}

void Workbench::ffmpeg(Words arguments) const {
  arguments.insert(arguments.begin(), {"-v", "error", "-nostdin", "-y"});
  const Result result = run("ffmpeg", arguments);
  ASSERT_EQ(result.status, 0) << result.err;
}
