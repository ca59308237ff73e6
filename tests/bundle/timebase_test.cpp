#include <functional>
#include <thread>

#include "BundleTest.h"

namespace {

class TimeBaseTest : public BundleTest {};

TEST_F(TimeBaseTest, everyWayOfEndingTheSoundStopsTheElapsedPart) {
  build();
  const auto playedThen = [this](const std::function<void()>& step) {
    render(48);
    wall.ms += 500;
    step();
    return timeBase().currentTime();
  };
  EXPECT_EQ(playedThen([&] { event(Tavro::PortEvent::kFlush); }), 1U);
  EXPECT_EQ(playedThen([&] { event(Tavro::PortEvent::kStart); }), 502U);
  EXPECT_EQ(playedThen([&] { event(Tavro::PortEvent::kStop); }), 3U);
  EXPECT_EQ(playedThen([&] { write(48000, 2, 16); }), 504U);
  EXPECT_EQ(playedThen([&] { write(96000, 1, 16); }), 5U);
  EXPECT_EQ(playedThen([&] { event(Tavro::PortEvent::kDisconnect); }), 5U);
}

TEST_F(TimeBaseTest, theElapsedPartEndsBeforeTheGraphStopsAndALastCallDoesNotResumeIt) {
  build();
  event(Tavro::PortEvent::kStart);
  render(96);
  wall.ms += 500;
  std::uint32_t seen = 0;
  platform.onCall("AUGraphStop", [&] {
    seen = timeBase().currentTime();
    render(48);
  });
  event(Tavro::PortEvent::kStop);
  wall.ms += 500;
  EXPECT_EQ(seen, 2U);
  EXPECT_EQ(timeBase().currentTime(), 3U);
}

TEST_F(TimeBaseTest, bothPartsWrapModulo32Bits) {
  build(Tavro::FormatCode::kInteger, 8000, 1, 8);
  wall.ms = 50;
  const std::uint64_t bytesACall = 0xFFFFFFFF;
  for (std::uint64_t calls = 1; calls <= 9; ++calls) {
    render(0xFFFFFFFF, 16);
    EXPECT_EQ(timeBase().currentTime(), static_cast<std::uint32_t>(calls * bytesACall / 8));
  }
  const std::uint32_t before = timeBase().currentTime();
  wall.ms += 0x1'0000'0007ULL;
  EXPECT_EQ(timeBase().currentTime(), before + 7);
}

TEST_F(TimeBaseTest, itRunsWhileTheGraphRuns) {
  connect();
  EXPECT_EQ(timeBase().timeBasePriority(), 100U);
  EXPECT_EQ(timeBase().currentTime(), 0U);
  EXPECT_FALSE(timeBase().isRunning());
  ASSERT_TRUE(write(48000, 2, 16));
  EXPECT_FALSE(timeBase().isRunning());
  event(Tavro::PortEvent::kStart);
  EXPECT_TRUE(timeBase().isRunning());
  event(Tavro::PortEvent::kFlush);
  EXPECT_TRUE(timeBase().isRunning());
  platform.fail("AUGraphIsRunning", -1);
  EXPECT_FALSE(timeBase().isRunning());
  event(Tavro::PortEvent::kStop);
  EXPECT_FALSE(timeBase().isRunning());
  event(Tavro::PortEvent::kStart);
  event(Tavro::PortEvent::kDisconnect);
  EXPECT_FALSE(timeBase().isRunning());
}

TEST_F(TimeBaseTest, itMayBeReadWhileTheOutputIsConfigured) {
  build();
  std::uint32_t seen = 0;
  platform.onCall("AUGraphOpen", [&] {
    std::thread([&] {
      seen = timeBase().currentTime() + timeBase().timeBasePriority();
      timeBase().isRunning();
    }).join();
  });
  EXPECT_TRUE(write(44100, 2, 16));
  EXPECT_EQ(seen, 100U);
}

}  // namespace
