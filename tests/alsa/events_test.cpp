// A device that runs dry, sleeps, is pulled out or stands still in mid-play.

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>

#include "tests/alsa/AlsaTest.h"

namespace {

class EventsOnAlsa : public AlsaTest {
 protected:
  static constexpr std::size_t kSecond = 48000;

  void defineWith(const std::string& event) { define("bench", "event " + event + " at 24000"); }
  Bytes beginning() const { return framesOf(m_in, 0, kSecond / 4); }

  const Wave m_in = noise({16, false, 2, 48000}, kSecond * 3 / 2);
};

TEST_F(EventsOnAlsa, anUnderrunIsCountedAndPlaybackGoesOn) {
  for (const char* event : {"xrun", "xrun_in_write"}) {
    define(event, "event " + std::string(event) + " at 24000");
    const Result result = playOn(event, m_in);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_GE(totals()["cycles"]["underruns"], 1) << event;
    EXPECT_TRUE(liesIn(played(event), m_in.data, 4)) << event;
  }
}

TEST_F(EventsOnAlsa, aDeviceThatWakesUpGoesOnWhereItWas) {
  defineWith("suspend");
  const Result result = playOn("bench", m_in);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(liesIn(played("bench"), m_in.data, 4));
}

/// What lay in its buffer is lost; on a busy machine what came late meanwhile, too, which is told.
TEST_F(EventsOnAlsa, aDeviceThatCannotGoOnBeginsAnew) {
  defineWith("suspend_for_good");
  const Wave in = noise({16, false, 2, 48000}, 4 * kSecond);
  const Result result = playOn("bench", in);
  EXPECT_TRUE(result.status == 0 || (result.status == 1 && result.errorLines() == 1 &&
                                     result.err.find("played ") != std::string::npos))
      << result.err;
  const Bytes out = played("bench");
  EXPECT_TRUE(contains(out, framesOf(in, 0, kSecond / 4)));
  EXPECT_TRUE(contains(out, framesOf(in, 3 * kSecond, kSecond)));
  EXPECT_FALSE(contains(out, in.data));
}

TEST_F(EventsOnAlsa, aDeviceThatIsPulledOutIsWaitedFor) {
  defineWith("unplug");
  const Result result = playOn("bench", m_in);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.err.find("'alsa:bench' is lost: No such device; paused until there is a device"),
            std::string::npos)
      << result.err;
  EXPECT_NE(result.err.find("switched back to alsa:bench"), std::string::npos) << result.err;
  EXPECT_TRUE(contains(played("bench"), beginning()));
  EXPECT_TRUE(contains(played("bench"), framesOf(m_in, kSecond, kSecond / 2)));
  EXPECT_EQ(totals()["buffers"]["played"], totals()["buffers"]["pulled"]);
}

TEST_F(EventsOnAlsa, aDeviceThatStaysAwayKeepsNobodyFromEnding) {
  define("bench", "event unplug at 24000 busy_from 2");
  writeWave(path("in.wav"), m_in);
  const pid_t player = begin(PLAYER, {"--device", "alsa:bench", "in.wav"});
  EXPECT_TRUE(eventually([&] {
    const Bytes told = readFile(path("program.err"));
    return std::string(told.begin(), told.end()).find("is lost") != std::string::npos;
  }));
  kill(player, SIGINT);
  EXPECT_EQ(end(player).status, 130);
}

TEST_F(EventsOnAlsa, aDeviceThatStandsStillKeepsNobodyFromEnding) {
  writeWave(path("in.wav"), m_in);
  for (const char* event : {"stall", "hang"}) {
    define(event, "event " + std::string(event) + " at 24000");
    const pid_t player = begin(PLAYER, {"--device", std::string("alsa:") + event, "in.wav"});
    EXPECT_TRUE(eventually([&] { return played(event).size() == 24000 * 4; }));
    kill(player, SIGINT);
    EXPECT_EQ(end(player).status, 130) << event;
  }
}

}  // namespace
