// The server's default sink, sinks that go, a server that dies or stands still: followed, or told
// in a sentence, and never waited for without end.

#include <gtest/gtest.h>

#include <csignal>

#include "tests/server/ServerTest.h"

namespace {

const NullSink kOne{"one", {16, false, 2, 48000}};
const NullSink kTwo{"two", {16, false, 2, 48000}};
const NullSink kOff{"off", {16, false, 2, 48000}};
constexpr std::size_t kSecond = 48000;

/// On a busy machine a move may take longer than the queue lasts; what came late is told then.
testing::AssertionResult playedOn(const Result& result) {
  const bool droppedLate = result.status == 1 && result.errorLines() == 1 &&
                           result.err.find("buffers were not played") != std::string::npos;
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
      m_in = noise({16, false, 2, 48000}, 4 * kSecond);
      writeWave(path("in.wav"), m_in);
    }
  }

  /// The player, when `sink` plays what it was given.
  pid_t beginOn(const NullSink& sink, const Words& arguments) {
    record(sink);
    const pid_t player = begin(PLAYER, arguments);
    EXPECT_TRUE(eventually([&] { return contains(recordedYet(sink), beginning()); }));
    return player;
  }

  Bytes beginning() const { return framesOf(m_in, 0, kSecond / 10); }
  Bytes ending() const { return framesOf(m_in, m_in.frames() - kSecond, kSecond); }

  Wave m_in;
};

TEST_F(EventsOnAServer, playbackFollowsTheDefaultSink) {
  record(kTwo);
  const pid_t player = beginOn(kOne, {"in.wav"});
  pactl({"set-default-sink", "two"});
  const Result result = end(player);
  EXPECT_TRUE(playedOn(result));
  const Bytes one = recorded(kOne, 0);
  EXPECT_TRUE(contains(one, beginning()));
  EXPECT_FALSE(contains(one, ending()));
  EXPECT_TRUE(contains(recorded(kTwo, 0), ending()));
}

TEST_F(EventsOnAServer, anExplicitChoiceStaysAndTheServersDefaultIsLeftAlone) {
  record(kTwo);
  const pid_t player = beginOn(kOne, {"--device", "pulse:one", "in.wav"});
  pactl({"set-default-sink", "two"});
  const Result result = end(player);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(liesIn(recorded(kOne, m_in.data.size()), m_in.data, 4));
  EXPECT_FALSE(hasSound(recorded(kTwo, 0)));
  EXPECT_EQ(defaultSink(), "two");
}

TEST_F(EventsOnAServer, playbackMovesOnWhenTheDefaultSinkGoes) {
  record(kTwo);
  const pid_t player = beginOn(kOne, {"in.wav"});
  unload("one");
  const Result result = end(player);
  EXPECT_TRUE(playedOn(result));
  EXPECT_TRUE(contains(recorded(kTwo, 0), ending()));
}

TEST_F(EventsOnAServer, theLossOfAChosenSinkIsTold) {
  record(kTwo);
  const pid_t player = beginOn(kOne, {"--device", "pulse:one", "in.wav"});
  unload("one");
  const Result result = end(player);
  EXPECT_EQ(result.status, 4);
  EXPECT_EQ(result.errorLines(), 1U) << result.err;
  EXPECT_NE(result.err.find("'pulse:one' is lost"), std::string::npos) << result.err;
  EXPECT_FALSE(hasSound(recorded(kTwo, 0)));
}

TEST_F(EventsOnAServer, theLossOfTheLastSinkIsTold) {
  unload("two");
  unload("off");
  const pid_t player = beginOn(kOne, {"in.wav"});
  unload("one");
  const Result result = end(player);
  EXPECT_EQ(result.status, 4);
  EXPECT_NE(result.err.find("'pulse:one' is lost"), std::string::npos) << result.err;
}

TEST_F(EventsOnAServer, aStreamThatTheServerEndsIsTold) {
  const pid_t player = beginOn(kOne, {"in.wav"});
  const std::string inputs = pactl({"list", "short", "sink-inputs"});
  command("kill-sink-input " + inputs.substr(0, inputs.find('\t')));
  const Result result = end(player);
  EXPECT_EQ(result.status, 4);
  EXPECT_NE(result.err.find("ended the stream"), std::string::npos) << result.err;
}

TEST_F(EventsOnAServer, theDeathOfTheServerIsTold) {
  for (const Words& device : {Words{}, Words{"--device", "pulse:one"}}) {
    Words arguments = device;
    arguments.push_back("in.wav");
    const pid_t player = beginOn(kOne, arguments);
    killServer();
    const Result result = end(player);
    EXPECT_EQ(result.status, 4);
    EXPECT_EQ(result.errorLines(), 1U) << result.err;
    EXPECT_NE(result.err.find("the sound server is gone"), std::string::npos) << result.err;
    forgetRecordings();
    startServer({kOne});
  }
}

TEST_F(EventsOnAServer, aServerThatStandsStillInMidPlayIsGivenUp) {
  const pid_t player = beginOn(kOne, {"in.wav"});
  signalServer(SIGSTOP);
  const Result result = end(player);
  EXPECT_EQ(result.status, 1);
  EXPECT_NE(result.err.find("has not played"), std::string::npos) << result.err;
}

TEST_F(EventsOnAServer, anInterruptEndsPlaybackOnAServerThatStandsStill) {
  const pid_t player = beginOn(kOne, {"in.wav"});
  signalServer(SIGSTOP);
  kill(player, SIGINT);
  EXPECT_EQ(end(player).status, 130);
}

TEST_F(EventsOnAServer, aServerThatStandsStillAtTheStartIsNotWaitedFor) {
  signalServer(SIGSTOP);
  const Result fallback = play({"in.wav"});
  EXPECT_EQ(fallback.status, 0) << fallback.err;
  EXPECT_NE(fallback.err.find("it does not answer"), std::string::npos) << fallback.err;
  EXPECT_TRUE(isExactly(readWave(path("in-2.wav")), m_in.data));
  const Result chosen = play({"--device", "pulse:one", "in.wav"});
  EXPECT_EQ(chosen.status, 4);
  EXPECT_EQ(chosen.errorLines(), 1U) << chosen.err;
}

/// Each move leaves behind what is in the buffer, so there has to be enough to play.
TEST_F(EventsOnAServer, defaultsThatChangeBackAndForthAreFollowed) {
  m_in = noise({16, false, 2, 48000}, 14 * kSecond);
  writeWave(path("in.wav"), m_in);
  record(kTwo);
  const pid_t player = beginOn(kOne, {"in.wav"});
  for (int i = 0; i < 50; ++i) {
    pactl({"set-default-sink", i % 2 == 0 ? "two" : "one"});
  }
  pactl({"set-default-sink", "two"});
  const Result result = end(player);
  EXPECT_TRUE(playedOn(result));
  EXPECT_TRUE(contains(recorded(kTwo, 0), ending()));
}

}  // namespace
