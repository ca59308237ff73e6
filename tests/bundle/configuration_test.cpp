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

TEST_F(ConfigurationTest, aRebuildEmptiesTheQueueAndKeepsTheStateOfTheGraph) {
  build();
  queue(400, 1000, 10);
  EXPECT_TRUE(write(44100, 2, 16));
  EXPECT_EQ(released(), 1U);
  EXPECT_FALSE(platform.liveGraph()->running);
  event(Tavro::PortEvent::kStart);
  EXPECT_TRUE(write(44100, 1, 16));
  EXPECT_TRUE(platform.liveGraph()->running);
  platform.fail("AUGraphIsRunning", -1);  // unknown: not restarted
  EXPECT_TRUE(write(48000, 1, 16));
  EXPECT_FALSE(platform.liveGraph()->running);
}

TEST_F(ConfigurationTest, unusableValuesAreRefusedWithoutAnyEffect) {
  build();
  Tavro::AudioProperties other;
  other.m_sampleRate = 8000;
  _Variant wrongType = objectValue(&other);
  wrongType.type = 5;
  _Variant noObject{Tavro::VariantType::kObject, 0};
  for (const auto id : {Tavro::PortQuery::kConfigurePcm, Tavro::PortQuery::kConfigurePassthrough}) {
    EXPECT_FALSE(port->writeQuery(id, &wrongType));
    EXPECT_FALSE(port->writeQuery(id, &noObject));
  }
  EXPECT_FALSE(write(8000, 1, 8, 0x200b000f));
  EXPECT_FALSE(write(8000, 1, 8, Tavro::PortQuery::kMaximumChannels));
  EXPECT_THAT(journal.take(), IsEmpty());
  EXPECT_FALSE(write(48000, 2, 16)) << "the mode or the properties were stored";
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
  for (const bool passthroughFirst : {false, true}) {
    make();
    port = connectInput();
    journal.take();
    EXPECT_FALSE(write(48000, 2, 16));
    if (passthroughFirst) {
      EXPECT_FALSE(write(48000, 2, 16, Tavro::PortQuery::kConfigurePassthrough));
    }
    EXPECT_THAT(journal.take(), IsEmpty());
    ASSERT_TRUE((*component)->create(&session));
    EXPECT_TRUE(write(48000, 2, 16));
    (*component)->destroy();
    journal.take();
    EXPECT_FALSE(write(44100, 2, 16));
    EXPECT_THAT(journal.take(), IsEmpty());
    end();
  }
}

TEST_F(ConfigurationTest, aPcmWriteWithoutAFormatIsRefusedAndTheSameSucceedsLater) {
  build();
  event(Tavro::PortEvent::kDisconnect);  // takes the format away
  journal.take();
  EXPECT_FALSE(write(44100, 2, 24));
  EXPECT_THAT(journal.take(), IsEmpty());
  EXPECT_EQ(info("BitsPerSample"), "16");
  component->output().disconnectInput(port);
  ASSERT_EQ(connectInput(), port);
  EXPECT_FALSE(write(48000, 2, 16)) << "unchanged since the build";
  EXPECT_TRUE(write(44100, 2, 24));
}

TEST_F(ConfigurationTest, aFormatOfNoBytesOrNoRateIsRefusedAndLeavesNothingBehind) {
  struct Shape {
    std::uint32_t rate, channels, bits;
  };
  for (const Shape& shape : {Shape{0, 2, 16}, Shape{48000, 0, 16}, Shape{32000, 2, 7},
                             Shape{48000, 1, 0}, Shape{0, 0, 0}, Shape{48000, 0x80000000U, 16}}) {
    SCOPED_TRACE(shape.rate);
    build();
    event(Tavro::PortEvent::kStart);
    EXPECT_FALSE(write(shape.rate, shape.channels, shape.bits));
    EXPECT_EQ(platform.liveGraph(), nullptr);
    EXPECT_EQ(info("BitsPerSample"), "16");
    EXPECT_EQ(timeBase().currentTime(), 0U);
    EXPECT_FALSE(timeBase().isRunning());
    EXPECT_TRUE(write(44100, 2, 16));
    end();
  }
}

TEST_F(ConfigurationTest, aByteRateThatWrapsToZeroDividesNothing) {
  connect();
  write(0x80000000U, 2, 8);
  if (platform.liveGraph() != nullptr) {
    render(10);
  }
  wall.ms += 7;
  timeBase().currentTime();
  EXPECT_TRUE(write(48000, 2, 16));
}

}  // namespace
