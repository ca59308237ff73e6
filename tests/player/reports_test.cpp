// SPDX-License-Identifier: MIT

// The event and totals files, and the end by a signal.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <map>
#include <signal.h>
#include <sstream>
#include <sys/stat.h>
#include <tuple>
#include <unistd.h>

#include "tests/support/Workbench.h"

namespace {

using nlohmann::json;

class Reports : public Workbench {};

TEST_F(Reports, theTotalsBalanceAndAgreeWithTheEvents) {
  constexpr std::size_t kFrames = 48000;
  constexpr std::uint64_t kBuffers = 50;
  const Result result =
      playOn("file:out.wav", noise({16, false, 2, 48000}, kFrames), {"--events", "-"});
  ASSERT_EQ(result.status, 0) << result.err;

  const json totals = this->totals();
  EXPECT_EQ(totals["exit_status"], 0);
  EXPECT_EQ(totals["simulated"], true);
  const json& buffers = totals["buffers"];
  EXPECT_EQ(buffers["pulled"], kBuffers);
  EXPECT_EQ(buffers["played"], kBuffers);
  EXPECT_EQ(buffers["balanced"], true);
  for (const char* none : {"dropped_late", "without_report", "cleared", "held"}) {
    EXPECT_EQ(buffers[none], 0) << none;
  }
  EXPECT_EQ(totals["callbacks"]["silent_between"], 0);
  EXPECT_EQ(totals["cycles"]["frames_written"], kFrames);

  std::map<std::string, std::uint64_t> counts;
  std::uint64_t lastHostNs = 0;
  std::uint64_t nextStamp = 0;
  std::istringstream events(result.out);
  for (std::string line; std::getline(events, line);) {
    const json event = json::parse(line);
    ++counts[event["event"]];
    EXPECT_GE(event["host_ns"], lastHostNs);
    lastHostNs = event["host_ns"];
    EXPECT_TRUE(event.contains("graph_ms"));
    if (event["event"] == "played") {
      EXPECT_EQ(event["stamp_ms"], nextStamp);
      nextStamp += 20;
    }
  }
  EXPECT_EQ(counts["queued"], kBuffers);
  EXPECT_EQ(counts["piece"], buffers["pieces"]);
  EXPECT_EQ(counts["played"], kBuffers);
  EXPECT_EQ(counts["silent"], totals["callbacks"]["silent"]);
  EXPECT_EQ(counts["state"], 4u);
}

TEST_F(Reports, aSignalEndsItWithACompleteFile) {
  const Wave in = noise({16, false, 2, 48000}, 48000 * 30);
  writeWave(path("in.wav"), in);
  encode("in.ac3", {48000, 2, 192, 30});
  for (const auto& [signal, input, output] : {std::tuple{SIGINT, "in.wav", "out.wav"},
                                              {SIGTERM, "in.ac3", "out.spdif"},
                                              {SIGHUP, "in.wav", "out.wav"}}) {
    std::filesystem::remove(path("events"));
    const pid_t process = begin(PLAYER, {"--real-time", "--device", std::string("file:") + output,
                                         "--events", "events", "--json", "totals", input});
    EXPECT_TRUE(eventually([this] { return bool{says(readText(path("events")), "\"played\"")}; }));
    const Result result = endBy(signal, process);
    EXPECT_EQ(result.status, 128 + signal) << result.err;
    EXPECT_EQ(bool{says(result.err, "replaced out.wav")}, signal == SIGHUP);
    const json totals = this->totals();
    EXPECT_EQ(totals["exit_status"], 128 + signal);
    EXPECT_EQ(totals["buffers"]["balanced"], true);
    EXPECT_EQ(totals["buffers"]["held"], 0);
    EXPECT_EQ(totals["passthrough"]["violations"], 0);
  }
  const Wave out = readWave(path("out.wav"));
  EXPECT_LT(out.frames(), in.frames());
  EXPECT_TRUE(isExactly(out, framesOf(in, 0, std::min(out.frames(), in.frames()))));
  const Bytes frames = received("out.spdif");
  ASSERT_GT(frames.size(), 0u);
  EXPECT_EQ(readFile(path("out.spdif")).size(), frames.size() / 768 * kBurstBytes);
  const Bytes all = readFile(path("in.ac3"));
  EXPECT_TRUE(std::equal(frames.begin(), frames.end(), all.begin()));
}

/// Whether it has a handler for the signal: /proc shows them as a mask.
bool catches(pid_t process, int signal) {
  const std::string status = readText("/proc/" + std::to_string(process) + "/status");
  return (std::stoull(status.substr(status.find("SigCgt:") + 7), nullptr, 16) >> (signal - 1) &
          1) != 0;
}

TEST_F(Reports, aSignalEndsItThoughAnInputKeepsItWaiting) {
  ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
  writeWave(path("in.wav"), noise({16, false, 2, 48000}, 48000 * 6));
  Bytes begun = readFile(path("in.wav"));
  begun.resize(1 << 20);  // as much as a pipe can hold
  for (const int signal : {SIGINT, SIGTERM}) {
    for (const bool hasWriter : {false, true}) {
      const int writer =
          hasWriter ? open(path("pipe").c_str(), O_RDWR | O_CLOEXEC | O_NONBLOCK) : -1;
      fcntl(writer, F_SETPIPE_SZ, static_cast<int>(begun.size()));
      EXPECT_EQ(write(writer, begun.data(), begun.size()),
                hasWriter ? static_cast<ssize_t>(begun.size()) : -1);
      std::filesystem::remove(path("events"));
      const pid_t process =
          begin(PLAYER, {"--real-time", "--device", "file:out.wav", "--events", "events", "pipe"});
      EXPECT_TRUE(eventually([&] {
        return catches(process, signal) && (!hasWriter || !readFile(path("events")).empty());
      }));
      const Result result = endBy(signal, process);
      EXPECT_EQ(result.status, 128 + signal) << hasWriter << result.err;
      EXPECT_FALSE(says(result.err, "pipe:"));
      close(writer);
    }
  }
}

TEST_F(Reports, withoutASoundServerAutoWritesANewFileAndSaysSo) {
  setenv("PULSE_SERVER", ("unix:" + path("no-server")).c_str(), 1);
  setenv("ALSA_CONFIG_PATH", "/dev/null", 1);
  EXPECT_EQ(play({"--list-devices"}).out.find("no sound server"), 0U);
  const Wave in = noise({16, false, 2, 48000}, 2000);
  std::filesystem::create_directory(path("music"));
  writeWave(path("music/song.wav"), in);
  for (const char* name : {"song.wav", "song-2.wav"}) {
    const Result result = play({"music/song.wav"});
    EXPECT_TRUE(saysInOneLine(result, 0, name));
    EXPECT_TRUE(isExactly(readWave(path(name)), in.data));
  }
}

TEST_F(Reports, quietSaysNothingAndVerboseHearsThePlugin) {
  writeWave(path("in.wav"), noise({16, false, 2, 48000}, 2000));
  EXPECT_EQ(play({"-q", "--device", "file:out.wav", "in.wav"}).err, "");
  const std::string said = play({"-v", "--device", "file:out.wav", "in.wav"}).err;
  EXPECT_TRUE(says(said, "Rendering: Audio Output Creation"));
  EXPECT_TRUE(says(said, "Rendering: Audio Output Destruction"));
}

}  // namespace
