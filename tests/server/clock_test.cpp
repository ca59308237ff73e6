// SPDX-License-Identifier: MIT

// A sink whose clock the test holds: sixteen times as fast as real time, off by a little, standing
// still, leaping. What is played reaches it in order, once each, but for what came late.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <csignal>
#include <cstdlib>

#include "tests/server/PipeSink.h"
#include "tests/server/ServerTest.h"

namespace {

using std::chrono::milliseconds;

constexpr std::size_t kFrame = 4;  // bytes

class ClockOfTheTest : public ServerTest {
 protected:
  void SetUp() override {
    ServerTest::SetUp();
    if (!IsSkipped()) {
      startServer({{"nominal"}});
    }
  }

  /// So much sound in the server, and more in the queue of ten buffers before it. The pipe holds
  /// 340 ms, and may have run empty while nothing played: then the sink takes as much at once when
  /// sound comes.
  static Words buffering(unsigned serverMs, Words arguments) {
    setenv("PULSE_LATENCY_MSEC", std::to_string(serverMs).c_str(), 1);
    arguments.insert(arguments.begin(), {"--buffer-ms", std::to_string(serverMs / 8)});
    return arguments;
  }

  std::string addSink(const std::string& name) const {
    pactl({"load-module", "module-pipe-sink", "sink_name=" + name, "file=" + path(name),
           "format=s16le", "rate=48000", "channels=2"});
    return path(name);
  }

  static Words on(const std::string& sink) {
    return {"--device", "pulse:" + sink, "--json", sink + ".json", "in.wav"};
  }
  nlohmann::json totals(const std::string& sink) const {
    return nlohmann::json::parse(readFile(path(sink + ".json")));
  }

  Wave giveNoise(std::size_t frames) const {
    const Wave wave = noise({16, false, 2, 48000}, frames);
    writeWave(path("in.wav"), wave);
    return wave;
  }
};

/// As often as the environment says: twelve times five minutes are an hour.
TEST_F(ClockOfTheTest, minutesAreExactAtSixteenTimesRealTime) {
  const char* const wanted = std::getenv("FIVE_MINUTES");
  const std::string times = wanted != nullptr ? wanted : "1";
  const Wave in = giveNoise(300 * kSecond + 7);
  PipeSink sink(addSink("sink"), 16);
  Words arguments = buffering(4000, on("sink"));  // a quarter of a second, so fast
  arguments.insert(arguments.begin(), {"--loop", times});
  const Result result = play(arguments);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(totals("sink")["callbacks"]["silent_between"], 0);
  const std::vector<Bytes> expected(std::stoul(times), in.data);
  EXPECT_TRUE(liesIn(sink.played(), joined(expected), kFrame));
}

/// All at once, so that it takes no longer. Seen to be off by 6 parts per million at most on an
/// idle machine; on a busy one each is still nearest to its own drift.
TEST_F(ClockOfTheTest, theDriftOfTheDeviceIsMeasuredAndLosesNothing) {
  const Wave in = giveNoise(20 * kSecond);
  PipeSink slow(addSink("slow"), 1 - 300e-6);
  PipeSink fast(addSink("fast"), 1 + 300e-6);
  std::vector<pid_t> players;
  for (const char* sink : {"slow", "fast", "nominal"}) {
    players.push_back(begin(PLAYER, buffering(1600, on(sink))));
  }
  for (const pid_t player : players) {
    EXPECT_EQ(end(player).status, 0);
  }
  for (const auto& [sink, expected] : {std::pair{"slow", -300}, {"fast", 300}, {"nominal", 0}}) {
    ASSERT_TRUE(totals(sink)["drift_ppm"].is_number()) << sink;
    EXPECT_NEAR(totals(sink)["drift_ppm"], expected, 149) << sink;
  }
  EXPECT_TRUE(liesIn(slow.played(), in.data, kFrame));
  EXPECT_TRUE(liesIn(fast.played(), in.data, kFrame));
}

/// For longer than the queue lasts: the clock stops, or leaps, with the device.
TEST_F(ClockOfTheTest, aStandstillOrALeapLosesNothing) {
  const Wave in = giveNoise(6 * kSecond);
  for (const std::string name : {"stalling", "leaping"}) {
    const bool leaps = name == "leaping";
    PipeSink sink(addSink(name));
    const pid_t player = begin(PLAYER, buffering(800, on(name)));
    EXPECT_TRUE(eventually(
        [&] { return withoutSilence(sink.played(), kFrame).size() > kSecond * kFrame; }));
    if (leaps) {
      sink.jump(milliseconds(3000));
    } else {
      sink.stall(milliseconds(2000));
    }
    const Result result = end(player);
    EXPECT_EQ(result.status, 0) << name << result.err;
    EXPECT_EQ(totals(name)["buffers"]["played"], 60) << name;
    EXPECT_EQ(totals(name)["buffers"]["balanced"], true) << name;
    EXPECT_TRUE(liesIn(withoutSilence(sink.played(), kFrame), in.data, kFrame)) << name;
    EXPECT_EQ(contains(sink.played(), in.data), !leaps) << name << totals(name);
  }
}

}  // namespace
