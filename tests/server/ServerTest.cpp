// SPDX-License-Identifier: MIT

#include "tests/server/ServerTest.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <ranges>
#include <sstream>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "tests/support/Channels.h"

namespace fs = std::filesystem;

namespace {

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

void ServerTest::need(const std::string& programs) {
  const std::string command = "for each in " + programs + "; do command -v $each || exit 1; done";
  if (std::system((command + " >/dev/null").c_str()) != 0) {
    GTEST_SKIP() << "NOTHING WAS TESTED: not all of these are installed: " << programs;
  }
}

void ServerTest::SetUp() {
  need("pulseaudio pactl parec");
  setpriority(PRIO_PROCESS, 0, -15);  // where allowed: all of this plays in real time
  for (const char* name : {"run", "state", "home"}) {
    fs::create_directory(folder / name);
    fs::permissions(folder / name, fs::perms::owner_all);
  }
  for (const auto& [name, value] : std::vector<std::pair<const char*, std::string>>{
           {"HOME", path("home")},
           {"XDG_RUNTIME_DIR", path("run")},
           {"XDG_CONFIG_HOME", path("config")},
           {"XDG_STATE_HOME", path("state")},
           {"PULSE_RUNTIME_PATH", path("run/pulse")},
           {"PULSE_STATE_PATH", path("state")},
           {"PULSE_CONFIG_PATH", path("home/.config/pulse")},
           {"PULSE_COOKIE", path("cookie")},
           {"PULSE_SERVER", "unix:" + path("native")},
           {"ALSA_CONFIG_PATH", "/dev/null"}}) {
    setenv(name, value.c_str(), 1);
  }
  for (const char* name :
       {"DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "PULSE_SINK", "PULSE_LATENCY_MSEC"}) {
    unsetenv(name);
  }
}

void ServerTest::TearDown() {
  forgetRecordings();
  killServer();
}

void ServerTest::forgetRecordings() {
  for (const auto& [sink, recorder] : m_recorders) {
    endBy(SIGKILL, recorder);
    fs::remove(recordingOf(sink));
  }
  m_recorders.clear();
}

void ServerTest::startDaemon(const std::string& name, const std::vector<NullSink>& sinks) {
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
  startProgram(command, [&] {
    return run("pactl", {"--server=unix:" + path(name), "info"}, "pactl").status == 0;
  });
}

void ServerTest::startProgram(const Words& command, const std::function<bool()>& isUp) {
  m_programs.push_back(begin(command[0], {command.begin() + 1, command.end()}, command[0]));
  ASSERT_TRUE(eventually(isUp)) << command[0] << ": " << readText(path(command[0] + ".err"));
}

/// By the name of the ALSA device the server knows that it is a digital one, whose formats can be
/// set.
void ServerTest::startDigitalServer() {
  startDaemon("clock", {{"clock"}});
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
  pactl({"set-sink-formats", numberOf("sinks", "\tdigital\t"), "pcm; ac3-iec61937"});
}

void ServerTest::signalServer(int number) const { kill(m_programs.back(), number); }

void ServerTest::killServer() {
  for (const pid_t program : m_programs | std::views::reverse) {
    endBy(SIGKILL, program);
  }
  m_programs.clear();
}

std::string ServerTest::pactl(const Words& arguments) const {
  const Result result = run("pactl", arguments, "pactl");
  EXPECT_EQ(result.status, 0) << testing::PrintToString(arguments) << result.err;
  return result.out.substr(0, result.out.find_last_not_of('\n') + 1);
}

std::string ServerTest::numberOf(const std::string& kind, const std::string& text) const {
  std::istringstream lines(pactl({"list", "short", kind}));
  for (std::string line; std::getline(lines, line);) {
    if (line.find(text) != std::string::npos) {
      return line.substr(0, line.find('\t'));
    }
  }
  ADD_FAILURE() << "none of the " << kind << " has '" << text << "'";
  return "";
}

/// pactl has no word for it, the server's command line has.
void ServerTest::killStream() const {
  const int connection = socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  path("native-cli").copy(address.sun_path, sizeof(address.sun_path) - 1);
  ASSERT_EQ(connect(connection, reinterpret_cast<sockaddr*>(&address), sizeof(address)), 0);
  const std::string text = "kill-sink-input " + numberOf("sink-inputs") + "\n";
  ASSERT_EQ(write(connection, text.data(), text.size()), static_cast<ssize_t>(text.size()));
  shutdown(connection, SHUT_WR);
  for (char answer = 0; read(connection, &answer, 1) == 1;) {  // until the server hangs up
  }
  close(connection);
}

void ServerTest::load(const NullSink& sink) const {
  pactl({"load-module", "module-null-sink", moduleArguments(sink)});
}

void ServerTest::unload(const std::string& sink) const {
  pactl({"unload-module", numberOf("modules", "sink_name=" + sink + " ")});
}

void ServerTest::record(const NullSink& sink) {
  Words command = {"--raw",
                   "--device=" + sink.name + ".monitor",
                   "--format=" + sampleName(sink.shape),
                   "--rate=" + std::to_string(sink.shape.rate),
                   "--channels=" + std::to_string(sink.shape.channels),
                   "--latency-msec=50"};
  if (!sink.positions.empty()) {
    command.push_back("--channel-map=" + sink.positions);
  }
  command.push_back(recordingOf(sink.name));
  fs::remove(recordingOf(sink.name));  // an earlier one would pass for this one
  m_recorders[sink.name] = begin("parec", command, "parec-" + sink.name);
  ASSERT_TRUE(eventually([&] { return !recordedYet(sink).empty(); })) << sink.name;
}

Bytes ServerTest::recorded(const NullSink& sink, std::size_t expectedBytes) {
  const std::size_t now = recordedYet(sink).size();
  const std::size_t halfASecond = sink.shape.frameBytes() * sink.shape.rate / 2;
  eventually(
      [&] { return recordedYet(sink).size() >= std::max(expectedBytes, now) + halfASecond; });
  endBy(SIGINT, m_recorders.at(sink.name));
  m_recorders.erase(sink.name);
  return recordedYet(sink);
}

void ServerTest::expectExact(const NullSink& sink, const std::string& device) {
  const Wave in = noise(sink.shape, sink.shape.rate / 2 + 7);
  record(sink);
  const Result result = playOn(device, in);
  expectAllArrived(in, result, recorded(sink, in.data.size()));
}
