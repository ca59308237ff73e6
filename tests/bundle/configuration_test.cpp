#include "BundleTest.h"

namespace {

using Tavro::_Variant;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;

class ConfigurationTest : public BundleTest {
 protected:
  unsigned builds() { return static_cast<unsigned>(only(journal.take(), {"NewAUGraph"}).size()); }
};

TEST_F(ConfigurationTest, theFirstWriteBuildsAndPublishesTheBits) {
  connect();
  EXPECT_TRUE(write(44100, 2, 16));
  EXPECT_EQ(builds(), 1U);
  EXPECT_EQ(info("BitsPerSample"), "16");
  EXPECT_FALSE(platform.liveGraph()->running);
}

TEST_F(ConfigurationTest, secondWriteOfTheSamePropertiesIsRefused) {
  build();
  event(Tavro::PortEvent::kStart);
  upstream.add(pattern(400), 1000, 10);
  feed();
  journal.take();
  EXPECT_FALSE(write(48000, 2, 16));
  EXPECT_THAT(journal.take(), IsEmpty());
  EXPECT_TRUE(platform.liveGraph()->running);
  EXPECT_EQ(released(), 0U);
}

TEST_F(ConfigurationTest, aChangeOfTheBitsAloneIsIgnored) {
  build();
  EXPECT_FALSE(write(48000, 2, 24));
  EXPECT_EQ(info("BitsPerSample"), "16");
  EXPECT_TRUE(write(44100, 2, 24));
  EXPECT_EQ(info("BitsPerSample"), "24");
}

TEST_F(ConfigurationTest, theBitsWrittenArePublishedForFloatSamplesToo) {
  build(Tavro::FormatCode::kFloat, 48000, 2, 0);
  EXPECT_EQ(info("BitsPerSample"), "0");
  EXPECT_TRUE(write(48000, 1, 4294967295U));
  EXPECT_EQ(info("BitsPerSample"), "4294967295");
}

TEST_F(ConfigurationTest, aRebuildEmptiesTheQueueAndKeepsTheStateOfTheGraph) {
  build();
  upstream.add(pattern(400), 1000, 10);
  feed();
  EXPECT_TRUE(write(44100, 2, 16));
  EXPECT_EQ(released(), 1U);
  EXPECT_FALSE(platform.liveGraph()->running);
  event(Tavro::PortEvent::kStart);
  EXPECT_TRUE(write(44100, 1, 16));
  EXPECT_TRUE(platform.liveGraph()->running);
  event(Tavro::PortEvent::kStop);
  EXPECT_TRUE(write(48000, 1, 16));
  EXPECT_FALSE(platform.liveGraph()->running);
}

TEST_F(ConfigurationTest, aGraphWhoseStateIsUnknownIsNotRestarted) {
  build();
  event(Tavro::PortEvent::kStart);
  platform.fail("AUGraphIsRunning", -1);
  EXPECT_TRUE(write(44100, 2, 16));
  EXPECT_FALSE(platform.liveGraph()->running);
}

TEST_F(ConfigurationTest, unusableValuesAreRefusedWithoutAnyEffect) {
  build();
  Tavro::AudioProperties other;
  other.m_sampleRate = 8000;
  _Variant wrongType{5, reinterpret_cast<std::uintptr_t>(&other)};
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
  platform.fail("AUGraphInitialize", -10875);
  EXPECT_FALSE(write(44100, 2, 24));
  EXPECT_EQ(platform.liveGraphs(), 0U);
  EXPECT_EQ(info("BitsPerSample"), "16");
  const Lines lines = journal.take();
  EXPECT_THAT(lines, Not(Contains("session.getSetting 2 Output Volume")));
  EXPECT_THAT(only(lines, {"AUGraphStart", "AudioUnitReset"}),
              testing::ElementsAre("AUGraphStart(graph1)"));
  EXPECT_FALSE(write(44100, 2, 24));
  EXPECT_EQ(builds(), 0U);
  EXPECT_TRUE(write(48000, 2, 24));
  EXPECT_FALSE(platform.liveGraph()->running);
  EXPECT_EQ(info("BitsPerSample"), "24");
}

TEST_F(ConfigurationTest, aWriteBeforeCreateIsRefusedAndTheSameSucceedsLater) {
  for (const bool passthroughFirst : {false, true}) {
    make();
    format = {1, 0, 0, 2, 0};
    port = component->output().connectInput(Tavro::MediaType::Audio, &format, &source);
    ASSERT_NE(port, nullptr);
    journal.take();
    EXPECT_FALSE(write(48000, 2, 16));
    if (passthroughFirst) {
      EXPECT_FALSE(write(48000, 2, 16, Tavro::PortQuery::kConfigurePassthrough));
    }
    EXPECT_THAT(journal.take(), IsEmpty());
    ASSERT_TRUE((*component)->create(&session));
    EXPECT_TRUE(write(48000, 2, 16));
    end();
  }
}

TEST_F(ConfigurationTest, aPcmWriteWithoutAFormatIsRefusedAndTheSameSucceedsLater) {
  connect();
  event(Tavro::PortEvent::kDisconnect);  // takes the format away
  EXPECT_FALSE(write(48000, 2, 16));
  EXPECT_EQ(builds(), 0U);
  ASSERT_TRUE(component->output().disconnectInput(port));
  ASSERT_EQ(component->output().connectInput(Tavro::MediaType::Audio, &format, &source), port);
  EXPECT_TRUE(write(48000, 2, 16));
}

TEST_F(ConfigurationTest, aWriteRefusedForWantOfAFormatPublishesAndStoresNothing) {
  build();
  event(Tavro::PortEvent::kDisconnect);
  EXPECT_FALSE(write(44100, 2, 24));
  EXPECT_EQ(info("BitsPerSample"), "16");
  component->output().disconnectInput(port);
  component->output().connectInput(Tavro::MediaType::Audio, &format, &source);
  EXPECT_FALSE(write(48000, 2, 16)) << "unchanged since the build";
  EXPECT_TRUE(write(44100, 2, 24));
}

TEST_F(ConfigurationTest, aWriteAfterDestroyIsRefused) {
  build();
  (*component)->destroy();
  journal.take();
  EXPECT_FALSE(write(44100, 2, 16));
  EXPECT_THAT(only(journal.take(), {"NewAUGraph"}), IsEmpty());
}

struct Shape {
  std::uint32_t rate, channels, bits;
};

class ImpossibleShapeTest : public ConfigurationTest, public testing::WithParamInterface<Shape> {};

TEST_P(ImpossibleShapeTest, aFormatOfNoBytesOrNoRateIsRefusedAndLeavesNothingBehind) {
  build();
  event(Tavro::PortEvent::kStart);
  EXPECT_FALSE(write(GetParam().rate, GetParam().channels, GetParam().bits));
  EXPECT_EQ(platform.liveGraphs(), 0U);
  EXPECT_EQ(info("BitsPerSample"), "16");
  timeBase().currentTime();
  EXPECT_FALSE(timeBase().isRunning());
  EXPECT_TRUE(write(44100, 2, 16));
}

INSTANTIATE_TEST_SUITE_P(Shapes, ImpossibleShapeTest,
                         testing::Values(Shape{0, 2, 16}, Shape{48000, 0, 16}, Shape{32000, 2, 7},
                                         Shape{48000, 1, 0}, Shape{0, 0, 0},
                                         Shape{48000, 0x80000000U, 16}));

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

TEST_F(ConfigurationTest, anAnswerHandedOutStaysReadableAfterItsReplacement) {
  build();
  _Variant first{};
  ASSERT_TRUE((*component)->getInfo("BitsPerSample", &first));
  const auto* text = reinterpret_cast<const Tavro::WideString*>(first.value);
  const wchar_t* characters = text->m_data;
  for (std::uint32_t i = 0; i < 50; ++i) {
    ASSERT_TRUE(write(8000 + i, 1, 24));
  }
  EXPECT_STREQ(text->m_data, L"16");
  EXPECT_STREQ(characters, L"16");
  EXPECT_EQ(text->m_length, 2U);
  EXPECT_EQ(info("BitsPerSample"), "24");
}

}  // namespace
