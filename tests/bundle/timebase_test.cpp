// SPDX-License-Identifier: MIT

#include <thread>

#include "BundleTest.h"

namespace {

/// How it counts while sound is played, flushed, stopped and rebuilt is compared with a model
/// elsewhere.
class TimeBaseTest : public BundleTest {};

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
  render(48);
  event(Tavro::PortEvent::kDisconnect);
  wall.ms += 500;
  EXPECT_EQ(timeBase().currentTime(), 4U);
}

TEST_F(TimeBaseTest, bothPartsWrapModulo32Bits) {
  build(Tavro::FormatCode::kInteger, 8000, 1, 8);
  for (std::uint64_t calls = 1; calls <= 9; ++calls) {
    render(0xFFFFFFFF, 16);
    EXPECT_EQ(timeBase().currentTime(), static_cast<std::uint32_t>(calls * 0xFFFFFFFFU / 8));
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
  platform.fail("AUGraphIsRunning", -1);
  EXPECT_FALSE(timeBase().isRunning());
  event(Tavro::PortEvent::kStop);
  EXPECT_FALSE(timeBase().isRunning());
}

}  // namespace
