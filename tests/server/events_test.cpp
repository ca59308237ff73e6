// SPDX-License-Identifier: MIT

// The server's default sink, sinks that go, a server that dies or is stalled: followed, or reported
// in a sentence, and never waited for without end.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <thread>

#include "tests/server/ServerTest.h"

namespace {

const NullSink kOne{"one", {16, false, 2, 48000}};
const NullSink kTwo{"two", {16, false, 2, 48000}};
const NullSink kOff{"off", {16, false, 2, 48000}};

/// On a busy machine a move may take longer than the queue lasts; what came late is told then.
testing::AssertionResult playedOn(const Result& result) {
  const bool droppedLate = result.status == 1 && result.errorLines() == 1 &&
                           result.err.find("played ") != std::string::npos;
  return result.status == 0 || droppedLate ? testing::AssertionSuccess()
                                           : testing::AssertionFailure() << result.err;
}

class EventsOnAServer : public ServerTest {
 protected:
  void SetUp() override {
    ServerTest::SetUp();
    if (!IsSkipped()) {
      startServer({kOne, kTwo, kOff});
      pactl({"set-default-sink", "one"});
      pactl({"set-default-source", "off.monitor"});  // else a recording goes with the default sink
      makeInput(4);
    }
  }

  /// The player, when `sink` plays what it was given.
  pid_t beginOn(const NullSink& sink, const Words& arguments) {
    record(sink);
    const pid_t player = begin(PLAYER, arguments);
    EXPECT_TRUE(eventually([&] { return contains(recordedYet(sink), beginning()); }));
    return player;
  }

  void makeInput(std::size_t seconds) {
    m_in = noise({16, false, 2, 48000}, seconds * kSecond);
    writeWave(path("in.wav"), m_in);
  }

  /// However long it stood, no buffer came too late.
  void expectAllPlayed(const Result& result) const {
    ASSERT_EQ(result.status, 0) << result.err;
    const auto buffers = totals()["buffers"];
    EXPECT_EQ(buffers["played"], buffers["pulled"]) << buffers;
    EXPECT_TRUE(buffers["balanced"]);
  }
  void expectTheRestPlayed(pid_t player, const NullSink& sink) {
    expectAllPlayed(end(player));
    EXPECT_TRUE(contains(recorded(sink, 0), ending()));
  }

  static std::size_t openFilesOf(pid_t process) {
    const auto folder =
        std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/fd");
    return static_cast<std::size_t>(std::distance(folder, {}));
  }

  std::size_t streams() const {
    const std::string inputs = pactl({"list", "short", "sink-inputs"});
    return inputs.empty() ? 0 : static_cast<std::size_t>(std::ranges::count(inputs, '\n')) + 1;
  }

  Bytes beginning() const { return framesOf(m_in, 0, kSecond / 10); }
  Bytes ending() const { return framesOf(m_in, m_in.frames() - kSecond, kSecond); }

  Wave m_in;
};

/// By an option, or by the variable that the server's own programs go by.
TEST_F(EventsOnAServer, anExplicitChoiceStaysAndTheServersDefaultIsLeftAlone) {
  for (const char* device : {"pulse:one", "auto"}) {
    pactl({"set-default-sink", "off"});
    record(kTwo);
    setenv("PULSE_SINK", device == std::string("auto") ? "one" : "two", 1);
    const pid_t player = beginOn(kOne, {"--device", device, "in.wav"});
    pactl({"set-default-sink", "two"});
    const Result result = end(player);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(liesIn(recorded(kOne, m_in.data.size()), m_in.data, 4)) << device;
    EXPECT_FALSE(hasSound(recorded(kTwo, 0)));
    EXPECT_EQ(defaultSink(), "two");
    forgetRecordings();
  }
}

TEST_F(EventsOnAServer, theMixerShowsWhatPlays) {
  ffmpeg({"-i", "in.wav", "-metadata", "title=Song", "-metadata", "artist=Band", "song.flac"});
  const pid_t player = begin(PLAYER, {"song.flac", "in.wav"});
  for (const char* name : {"media.name = \"Band - Song\"", "media.name = \"in.wav\""}) {
    EXPECT_TRUE(eventually([&] {
      return bool{says(pactl({"list", "sink-inputs"}), name)};
    })) << name;
  }
  EXPECT_EQ(end(player).status, 0);
}

TEST_F(EventsOnAServer, aPlayerThatWasStoppedPlaysTheRest) {
  const pid_t player = beginOn(kOne, {"in.wav"});
  kill(player, SIGSTOP);
  std::this_thread::sleep_for(std::chrono::milliseconds(1500));
  kill(player, SIGCONT);
  const Result result = end(player);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_TRUE(contains(recorded(kOne, 0), ending()));
}

TEST_F(EventsOnAServer, aChosenSinkThatGoesIsStoodInForUntilItIsBack) {
  makeInput(8);
  record(kTwo);
  const pid_t player = beginOn(kOne, {"--device", "pulse:one", "in.wav"});
  unload("one");
  EXPECT_TRUE(eventuallySaid("lost pulse:one, switched to pulse:two"));
  EXPECT_TRUE(eventually([&] { return hasSound(recordedYet(kTwo)); }));
  pactl({"set-default-sink", "off"});
  EXPECT_TRUE(eventuallySaid("switched to pulse:off"));
  forgetRecordings();
  load(kOne);
  record(kOne);
  EXPECT_TRUE(eventuallySaid("switched back to pulse:one"));
  pactl({"set-default-sink", "two"});
  EXPECT_TRUE(playedOn(end(player)));
  EXPECT_TRUE(contains(recorded(kOne, 0), ending()));
}

TEST_F(EventsOnAServer, withoutASinkPlaybackStandsInPlaceUntilThereIsOne) {
  unload("two");
  unload("off");
  const pid_t player = beginOn(kOne, {"--json", "totals", "in.wav"});
  unload("one");
  EXPECT_TRUE(eventuallySaid("it is not there any more; paused until there is a device"));
  forgetRecordings();
  std::this_thread::sleep_for(std::chrono::seconds(2));  // twice as long as the queue lasts
  load(kTwo);
  record(kTwo);
  expectTheRestPlayed(player, kTwo);
}

/// Nor does one that renders far ahead, and so asks for nothing for more than a second at first.
TEST_F(EventsOnAServer, aSinkThatRendersAheadCostsNoBuffer) {
  pactl({"load-module", "module-null-sink", "sink_name=ahead"});
  expectAllPlayed(playOn("pulse:ahead", m_in));
}

TEST_F(EventsOnAServer, aServerThatDiesIsWaitedFor) {
  for (const Words& device : {Words{}, Words{"--device", "pulse:two"}}) {
    Words arguments = device;
    arguments.insert(arguments.end(), {"--json", "totals", "in.wav"});
    pactl({"set-default-sink", "two"});
    const pid_t player = beginOn(kTwo, arguments);
    killServer();
    EXPECT_TRUE(eventuallySaid("the sound server is gone; paused until there is a device"));
    forgetRecordings();
    startServer({kTwo});
    record(kTwo);
    expectTheRestPlayed(player, kTwo);
  }
}

TEST_F(EventsOnAServer, anInterruptEndsPlaybackWhateverTheServerDoes) {
  for (const int number : {SIGSTOP, SIGKILL}) {
    const pid_t player = beginOn(kOne, {"in.wav"});
    signalServer(number);
    EXPECT_TRUE(number == SIGSTOP || eventuallySaid("the sound server is gone"));
    EXPECT_EQ(endBy(SIGINT, player).status, 130) << number;
    signalServer(SIGCONT);
    forgetRecordings();
  }
}

TEST_F(EventsOnAServer, aStreamThatTheServerEndsIsTold) {
  const pid_t player = beginOn(kOne, {"in.wav"});
  killStream();
  EXPECT_TRUE(saysInOneLine(end(player), 4, "ended the stream"));
}

TEST_F(EventsOnAServer, aServerThatStandsStillIsWaitedFor) {
  const pid_t player = beginOn(kOne, {"--json", "totals", "in.wav"});
  signalServer(SIGSTOP);
  EXPECT_TRUE(eventuallySaid("pulse:one is not responding; waiting"));
  std::this_thread::sleep_for(std::chrono::seconds(4));  // including an attempt to reopen it
  signalServer(SIGCONT);
  expectTheRestPlayed(player, kOne);
}

TEST_F(EventsOnAServer, aSuspendedSinkIsWaitedFor) {
  const pid_t player = beginOn(kOne, {"--device", "pulse:one", "--json", "totals", "in.wav"});
  pactl({"suspend-sink", "one", "1"});
  EXPECT_TRUE(eventuallySaid("pulse:one is not responding; waiting"));
  pactl({"set-default-sink", "two"});
  std::this_thread::sleep_for(std::chrono::seconds(1));
  pactl({"suspend-sink", "one", "0"});
  EXPECT_TRUE(eventuallySaid("pulse:one has resumed"));
  expectTheRestPlayed(player, kOne);
}

TEST_F(EventsOnAServer, aServerThatStandsStillAtTheStartIsNotWaitedFor) {
  signalServer(SIGSTOP);
  const Result fallback = play({"in.wav"});
  EXPECT_EQ(fallback.status, 0) << fallback.err;
  EXPECT_TRUE(says(fallback.err, "it does not answer"));
  EXPECT_TRUE(isExactly(readWave(path("in-2.wav")), m_in.data));
  const Result chosen = play({"--device", "pulse:one", "in.wav"});
  EXPECT_EQ(chosen.status, 4);
  EXPECT_EQ(chosen.errorLines(), 1U) << chosen.err;
}

TEST_F(EventsOnAServer, defaultsThatChangeBackAndForthAreFollowed) {
  makeInput(120);
  record(kOff);
  const pid_t player = beginOn(kOne, {"in.wav"});
  pactl({"set-default-sink", "two"});
  EXPECT_TRUE(eventuallySaid("switched to pulse:two"));
  const std::size_t before = openFilesOf(player);
  for (int i = 0; i < 100; ++i) {
    pactl({"set-default-sink", i % 2 == 0 ? "one" : "two"});
  }
  EXPECT_TRUE(eventually([&] { return openFilesOf(player) == before && streams() == 1; }));
  EXPECT_FALSE(hasSound(recorded(kOff, 0)));
  forgetRecordings();
  record(kOne);
  record(kTwo);
  EXPECT_TRUE(eventually([&] { return hasSound(recordedYet(kTwo)); }));
  EXPECT_FALSE(hasSound(recorded(kOne, 0)));
  EXPECT_EQ(endBy(SIGINT, player).status, 130);
}

/// Bursts cannot move, so what is left of them restarts elsewhere; a seek still reaches all of
/// it.
TEST_F(EventsOnAServer, ac3IsDecodedOnAStandInAndPassedThroughAgainOnItsDevice) {
  killServer();
  startDigitalServer();
  encode("in.ac3", {48000, 2, 192, 6});
  const Wave bursts{{}, burstsOf("in.ac3")};
  const auto part = [&](std::size_t burst, std::size_t count) {
    return framesOf(bursts, 1536 * burst, 1536 * count);
  };
  const NullSink analog{"analog"};
  record(analog);
  const pid_t player = begin(PLAYER, {"--device", "pulse:digital", "--json", "totals", "--seek-at",
                                      "4", "--seek-to", "1", "in.ac3"});
  EXPECT_TRUE(eventually([&] { return contains(digitallyPlayed(48000), part(0, 40)); }));
  unload("digital");
  EXPECT_TRUE(eventuallySaid("lost pulse:digital, switched to pulse:analog"));
  EXPECT_TRUE(eventuallySaid("in.ac3: decoded: "));
  EXPECT_TRUE(eventually([&] { return hasSound(recordedYet(analog)); }));
  loadDigitalSink();
  EXPECT_TRUE(eventuallySaid("switched back to pulse:digital"));
  const Result result = end(player);
  EXPECT_EQ(result.status, 0);
  const auto totals = this->totals();
  EXPECT_TRUE(contains(digitallyPlayed(48000), part(bursts.frames() / 1536 - 30, 30)))
      << result.err << totals;
  EXPECT_EQ(totals["buffers"]["dropped_late"], 0);
  EXPECT_TRUE(totals["buffers"]["balanced"]);
  // Four seconds, then from the first to the sixth; where it moved, some bursts of each twice.
  const double playedMs = totals["buffers"]["played"].get<double>() * 20 +
                          totals["passthrough"]["frames_read"].get<double>() * 32;
  EXPECT_NEAR(playedMs, 9050, 500);
}

}  // namespace
