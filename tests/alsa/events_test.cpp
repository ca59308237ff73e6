// SPDX-License-Identifier: MIT

// A device that runs dry, sleeps, is unplugged or stalls while it plays.

#include <gtest/gtest.h>

#include <csignal>

#include "tests/alsa/AlsaTest.h"

namespace {

class EventsOnAlsa : public AlsaTest {
 protected:
  static constexpr std::size_t kSecond = 48000;

  void defineEvent(const std::string& event, const std::string& settings = "") {
    define(event, settings + " event " + event + " at 24000");
  }

  const Wave m_in = noise({16, false, 2, 48000}, kSecond * 3 / 2);
};

TEST_F(EventsOnAlsa, whatADeviceGetsOverLosesNothing) {
  for (const std::string event : {"xrun", "suspend", "suspend_for_good"}) {
    defineEvent(event);
    const Result result = playOn("alsa:" + event, m_in);
    EXPECT_EQ(result.status, 0) << event << ": " << result.err;
    EXPECT_GE(totals()["cycles"]["underruns"], event == "xrun" ? 1 : 0);
    EXPECT_TRUE(liesIn(played(event), m_in.data, 4)) << event;
  }
}

TEST_F(EventsOnAlsa, aDeviceThatIsPulledOutIsWaitedFor) {
  defineEvent("unplug");
  const Result result = playOn("alsa:unplug", m_in);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(
      says(result.err, "'alsa:unplug' is lost: No such device; paused until there is a device"));
  EXPECT_TRUE(says(result.err, "switched back to alsa:unplug"));
  EXPECT_TRUE(contains(played("unplug"), framesOf(m_in, 0, kSecond / 4)));
  EXPECT_TRUE(contains(played("unplug"), framesOf(m_in, kSecond, kSecond / 2)));
  EXPECT_EQ(totals()["buffers"]["played"], totals()["buffers"]["pulled"]);
}

TEST_F(EventsOnAlsa, aDeviceThatStaysAwayOrStandsStillKeepsNobodyFromEnding) {
  writeWave(path("in.wav"), m_in);
  for (const std::string event : {"unplug", "stall", "hang"}) {
    defineEvent(event, event == "unplug" ? "busy_from 2" : "");
    const pid_t player = begin(PLAYER, {"--device", "alsa:" + event, "in.wav"});
    EXPECT_TRUE(eventually([&] { return played(event).size() == 24000 * 4; })) << event;
    EXPECT_TRUE(event != "unplug" || eventuallySaid("is lost"));
    EXPECT_EQ(endBy(SIGINT, player).status, 130) << event;
  }
}

}  // namespace
