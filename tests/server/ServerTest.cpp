#include "tests/server/ServerTest.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <fstream>
#include <map>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "tests/support/Channels.h"

namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kPatience{20};

void end(pid_t process, int number) {
  if (process > 0) {
    kill(process, number);
    waitpid(process, nullptr, 0);
  }
}

std::string moduleArguments(const NullSink& sink) {
  std::string text = "sink_name=" + sink.name + " format=" + sampleName(sink.shape) +
                     " rate=" + std::to_string(sink.shape.rate) +
                     " channels=" + std::to_string(sink.shape.channels) + " norewinds=1";
  if (!sink.positions.empty()) {
    text += " channel_map=" + sink.positions;
  }
  if (!sink.formats.empty()) {
    text += " formats=\"" + sink.formats + "\"";
  }
  return text;
}

}  // namespace

std::string sampleName(const WaveShape& shape) {
  return shape.isFloat ? "float32le" : "s" + std::to_string(shape.bits) + "le";
}

std::string positionsOf(const std::string& channels) {
  static const std::map<std::string, std::string> names = {
      {"MONO", "mono"},    {"FL", "front-left"}, {"FR", "front-right"}, {"FC", "front-center"},
      {"LFE", "lfe"},      {"RL", "rear-left"},  {"RR", "rear-right"},  {"RC", "rear-center"},
      {"SL", "side-left"}, {"SR", "side-right"}};
  std::string map;
  for (const std::string& channel : split(channels)) {
    map += (map.empty() ? "" : ",") + names.at(channel);
  }
  return map;
}

void ServerTest::SetUp() {
  if (std::system("command -v pulseaudio pactl parec >/dev/null") != 0) {
    GTEST_SKIP() << "NOTHING WAS TESTED: pulseaudio or pulseaudio-utils is not installed";
  }
  setpriority(PRIO_PROCESS, 0, -15);  // where allowed: all of this plays in real time
  for (const char* name : {"run", "state", "home"}) {
    fs::create_directory(folder / name);
    fs::permissions(folder / name, fs::perms::owner_all);
  }
  for (const auto& [name, value] : std::vector<std::pair<const char*, std::string>>{
           {"HOME", path("home")},
           {"XDG_RUNTIME_DIR", path("run")},
           {"PULSE_RUNTIME_PATH", path("run/pulse")},
           {"PULSE_STATE_PATH", path("state")},
           {"PULSE_CONFIG_PATH", path("home/.config/pulse")},
           {"PULSE_COOKIE", path("cookie")},
           {"PULSE_SERVER", "unix:" + path("native")},
           {"ALSA_CONFIG_PATH", "/dev/null"}}) {
    setenv(name, value.c_str(), 1);
  }
  for (const char* name : {"DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "PULSE_SINK"}) {
    unsetenv(name);
  }
}

void ServerTest::TearDown() {
  forgetRecordings();
  killServer();
}

void ServerTest::forgetRecordings() {
  for (const auto& [sink, recorder] : m_recorders) {
    ::end(recorder, SIGKILL);
    fs::remove(folder / (sink + ".raw"));
  }
  m_recorders.clear();
}

void ServerTest::startServer(const std::vector<NullSink>& sinks) {
  m_server = startDaemon("native", sinks);
}

pid_t ServerTest::startDaemon(const std::string& name, const std::vector<NullSink>& sinks) const {
  Words command = {"pulseaudio",
                   "-n",
                   "--daemonize=no",
                   "--use-pid-file=no",
                   "--exit-idle-time=-1",
                   "--realtime=no",
                   "--high-priority=no",
                   "--log-level=notice",
                   "-L",
                   "module-native-protocol-unix socket=" + path(name) + " auth-anonymous=1",
                   "-L",
                   "module-cli-protocol-unix socket=" + path(name + "-cli")};
  for (const NullSink& sink : sinks) {
    command.insert(command.end(), {"-L", "module-null-sink " + moduleArguments(sink)});
  }
  const pid_t daemon = spawn(command, "server.log");
  EXPECT_TRUE(eventually([&] {
    return run("pactl", {"--server=unix:" + path(name), "info"}).status == 0;
  })) << run("cat", {"server.log"}).out;
  return daemon;
}

/// The name of the ALSA device tells the server that it is a digital one, whose formats can be set.
void ServerTest::startDigitalServer() {
  m_clock = startDaemon("clock", {{"clock"}});
  std::ofstream(path("asound.conf"))
      << "pcm.iec958capture {\n  type file\n  slave.pcm { type pulse server \"unix:"
      << path("clock") << "\" device \"clock\" }\n  file \"" << path("digital-%r")
      << "\"\n  format raw\n}\n";
  setenv("ALSA_CONFIG_PATH", path("asound.conf").c_str(), 1);
  startServer({{"analog"}});
  pactl({"load-module", "module-device-restore"});
  loadDigitalSink();
}

void ServerTest::loadDigitalSink() const {
  pactl({"load-module", "module-alsa-sink", "device=iec958capture", "sink_name=digital", "mmap=no",
         "tsched=no", "fragments=4", "fragment_size=4096"});
  const std::string sinks = pactl({"list", "short", "sinks"});
  const std::size_t at = sinks.find("\tdigital\t");
  ASSERT_NE(at, std::string::npos) << sinks;
  const std::size_t newline = sinks.rfind('\n', at);
  const std::size_t line = newline == std::string::npos ? 0 : newline + 1;
  pactl({"set-sink-formats", sinks.substr(line, at - line), "pcm; ac3-iec61937"});
}

void ServerTest::signalServer(int number) const { kill(m_server, number); }

void ServerTest::killServer() {
  ::end(std::exchange(m_server, 0), SIGKILL);
  ::end(std::exchange(m_clock, 0), SIGKILL);
}

pid_t ServerTest::spawn(const Words& command, const std::string& log) const {
  const pid_t process = fork();
  if (process == 0) {
    std::vector<char*> arguments;
    for (const std::string& word : command) {
      arguments.push_back(const_cast<char*>(word.c_str()));
    }
    arguments.push_back(nullptr);
    const int file = open(path(log).c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
    dup2(file, STDOUT_FILENO);
    dup2(file, STDERR_FILENO);
    execvp(arguments[0], arguments.data());
    _exit(127);
  }
  return process;
}

std::string ServerTest::pactl(const Words& arguments) const {
  // Not run(): a player of the test's may be writing to the files of that.
  std::string command = "pactl";
  for (const std::string& word : arguments) {
    command += " '" + word + "'";
  }
  const std::string answer = path("pactl.out");
  EXPECT_EQ(std::system((command + " >" + answer + " 2>&1").c_str()), 0) << command;
  const Bytes bytes = readFile(answer);
  std::string text(bytes.begin(), bytes.end());
  while (!text.empty() && text.back() == '\n') {
    text.pop_back();
  }
  return text;
}

void ServerTest::command(const std::string& line) const {
  const int connection = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path("native-cli").copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  const std::string text = line + "\n";
  ASSERT_EQ(write(connection, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  shutdown(connection, SHUT_WR);
  for (char answer = 0; read(connection, &answer, 1) == 1;) {  // until the server hangs up
  }
  close(connection);
}

void ServerTest::load(const NullSink& sink) const {
  pactl({"load-module", "module-null-sink", moduleArguments(sink)});
}

/// By the module that made it.
void ServerTest::unload(const std::string& sink) {
  const std::string modules = pactl({"list", "short", "modules"});
  const std::size_t at = modules.find("sink_name=" + sink + " ");
  ASSERT_NE(at, std::string::npos) << modules;
  const std::size_t newline = modules.rfind('\n', at);
  const std::size_t line = newline == std::string::npos ? 0 : newline + 1;
  pactl({"unload-module", modules.substr(line, modules.find('\t', line) - line)});
}

void ServerTest::record(const NullSink& sink) {
  Words command = {"parec",
                   "--raw",
                   "--device=" + sink.name + ".monitor",
                   "--format=" + sampleName(sink.shape),
                   "--rate=" + std::to_string(sink.shape.rate),
                   "--channels=" + std::to_string(sink.shape.channels),
                   "--latency-msec=50"};
  if (!sink.positions.empty()) {
    command.push_back("--channel-map=" + sink.positions);
  }
  command.push_back(recordingOf(sink).string());
  m_recorders.emplace_back(sink.name, spawn(command, "recorder.log"));
  ASSERT_TRUE(eventually([&] { return !recordedYet(sink).empty(); })) << sink.name;
}

Bytes ServerTest::recorded(const NullSink& sink, std::size_t expectedBytes) {
  const std::size_t now = recordedYet(sink).size();
  const std::size_t halfASecond = sink.shape.frameBytes() * sink.shape.rate / 2;
  eventually(
      [&] { return recordedYet(sink).size() >= std::max(expectedBytes, now) + halfASecond; });
  const auto recorder =
      std::ranges::find(m_recorders, sink.name, [](auto& each) { return each.first; });
  ::end(recorder->second, SIGINT);
  m_recorders.erase(recorder);
  return recordedYet(sink);
}

bool ServerTest::eventually(const std::function<bool()>& isSo) {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!isSo()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
  }
  return true;
}
