// SPDX-License-Identifier: MIT

#include "BundleTest.h"

namespace {

using Tavro::_Variant;
using testing::IsEmpty;

class ConfigurationTest : public BundleTest {};

TEST_F(ConfigurationTest, aWriteOfTheSameRateAndChannelsIsRefusedAndChangesNothing) {
  build();
  EXPECT_EQ(info("BitsPerSample"), "16");
  event(Tavro::PortEvent::kStart);
  queue(400, 1000, 10);
  journal.take();
  EXPECT_FALSE(write(48000, 2, 16));
  EXPECT_FALSE(write(48000, 2, 24));
  EXPECT_THAT(journal.take(), IsEmpty());
  EXPECT_TRUE(platform.liveGraph()->running);
  EXPECT_EQ(released(), 0U);
  EXPECT_EQ(info("BitsPerSample"), "16");
  EXPECT_TRUE(write(44100, 2, 24));
  EXPECT_EQ(info("BitsPerSample"), "24");
}

TEST_F(ConfigurationTest, aRebuildKeepsTheStateOfTheGraph) {
  build();
  EXPECT_TRUE(write(44100, 2, 16));
  EXPECT_EQ(journal.take({"AudioUnitReset"}), Lines{"AudioUnitReset(unit2, 1, 0)"});
  EXPECT_FALSE(platform.liveGraph()->running);
  event(Tavro::PortEvent::kStart);
  platform.fail("AUGraphIsRunning", -1);  // unknown: not restarted
  EXPECT_TRUE(write(48000, 1, 16));
  EXPECT_FALSE(platform.liveGraph()->running);
}

TEST_F(ConfigurationTest, aFailedBuildKeepsThePropertiesSoOnlyADifferentWriteTriesAgain) {
  build();
  event(Tavro::PortEvent::kStart);
  journal.take();
  platform.fail("AUGraphInitialize", -10875);
  EXPECT_FALSE(write(44100, 2, 24));
  EXPECT_EQ(platform.liveGraph(), nullptr);
  EXPECT_FALSE(ready());
  EXPECT_EQ(info("BitsPerSample"), "16");
  EXPECT_THAT(journal.take({"session", "AUGraphStart", "AudioUnitReset"}), IsEmpty());
  EXPECT_FALSE(write(44100, 2, 24));
  EXPECT_THAT(journal.take(), IsEmpty());
  EXPECT_TRUE(write(48000, 2, 24));
  EXPECT_FALSE(platform.liveGraph()->running);
  EXPECT_EQ(info("BitsPerSample"), "24");
}

TEST_F(ConfigurationTest, aWriteOutsideASessionIsRefusedAndTheSameSucceedsLater) {
  const auto expectRefused = [this](std::uint32_t rate) {
    journal.take();
    EXPECT_FALSE(write(rate, 2, 16));
    EXPECT_FALSE(write(rate, 2, 16, Tavro::PortQuery::kConfigurePassthrough));
    EXPECT_THAT(journal.take(), IsEmpty());
  };
  make();
  port = connectInput();
  expectRefused(48000);
  ASSERT_TRUE(component->component().create(&session));
  EXPECT_TRUE(write(48000, 2, 16));
  event(Tavro::PortEvent::kDisconnect);
  EXPECT_TRUE(component->output().disconnectInput(port));
  component->component().destroy();
  ASSERT_EQ(connectInput(), port);
  expectRefused(44100);
  ASSERT_TRUE(component->component().create(&session));
  EXPECT_FALSE(write(48000, 2, 16)) << "the mode or the properties were stored";
  EXPECT_TRUE(write(44100, 2, 16));
}

TEST_F(ConfigurationTest, aFormatOfNoBytesOrNoRateIsPlayedIfTheUnitTakesIt) {
  struct Shape {
    std::uint32_t rate, channels, bits, frameBytes;
  };
  for (const Shape& shape : {Shape{0, 2, 16, 4}, Shape{48000, 0, 16, 0}, Shape{32000, 2, 7, 0},
                             Shape{96000, 0x80000000U, 16, 0}}) {
    SCOPED_TRACE(shape.rate);
    build();
    event(Tavro::PortEvent::kStart);
    EXPECT_TRUE(write(shape.rate, shape.channels, shape.bits));
    queue(400, 1000, 10);
    session.clock.ms = 1000;
    const Rendered rendered = render(10);
    EXPECT_EQ(rendered.byteSize, 10 * shape.frameBytes);
    EXPECT_EQ(rendered.silent(), shape.frameBytes == 0);
    EXPECT_EQ(timeBase().currentTime(), 0U);
    platform.fail("AudioUnitSetProperty", -10868);
    EXPECT_FALSE(write(shape.rate + 1, shape.channels, shape.bits));
    EXPECT_EQ(platform.liveGraph(), nullptr);
    end();
  }
}

}  // namespace
