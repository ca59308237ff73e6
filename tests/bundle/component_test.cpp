#include "BundleTest.h"

namespace {

using Tavro::_Variant;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

class ComponentTest : public BundleTest {};

TEST_F(ComponentTest, createLogsRegistersAndReadsTheChannelLimitInOrder) {
  make();
  EXPECT_TRUE((*component)->create(&session));
  EXPECT_THAT(journal.take(),
              ElementsAre("log Rendering create 369 Audio Output Creation", "session.getClock",
                          "clock.addTimeBase", "session.registerSettingConsumer",
                          "session.getSetting 2 Channels Maximum"));
}

TEST_F(ComponentTest, createWithoutASessionLogsAndIsRefused) {
  make();
  EXPECT_FALSE((*component)->create(nullptr));
  EXPECT_THAT(journal.take(), ElementsAre("log Rendering create 369 Audio Output Creation"));
  EXPECT_TRUE((*component)->create(&session));
}

TEST_F(ComponentTest, destroyUndoesTheRegistrationsInOrder) {
  make();
  (*component)->create(&session);
  journal.take();
  EXPECT_TRUE((*component)->destroy());
  EXPECT_THAT(journal.take(),
              ElementsAre("log Rendering destroy 398 Audio Output Destruction", "session.getClock",
                          "clock.removeTimeBase", "session.unregisterSettingConsumer"));
  EXPECT_THAT(session.clock.timeBases, IsEmpty());
  EXPECT_THAT(session.consumers, IsEmpty());
}

TEST_F(ComponentTest, destroyWithoutASessionIsHarmless) {
  make();
  (*component)->destroy();
  (*component)->create(&session);
  (*component)->destroy();
  journal.take();
  (*component)->destroy();
  EXPECT_THAT(only(journal.take(), {"session", "clock"}), IsEmpty());
}

TEST_F(ComponentTest, theComponentWorksAgainAfterDestroyAndCreate) {
  build();
  event(Tavro::PortEvent::kDisconnect);
  EXPECT_TRUE(component->output().disconnectInput(port));
  (*component)->destroy();
  ASSERT_TRUE((*component)->create(&session));
  EXPECT_EQ(component->output().connectInput(Tavro::MediaType::Audio, &format, &source), port);
  EXPECT_TRUE(write(44100, 2, 16));
}

TEST_F(ComponentTest, onlyTheTwoComponentEventsAreKnown) {
  make();
  EXPECT_TRUE((*component)->sendEvent(0x10010000, nullptr));
  EXPECT_TRUE((*component)->sendEvent(0x10020000, nullptr));
  EXPECT_FALSE((*component)->sendEvent(0x30030000, nullptr));
  EXPECT_FALSE((*component)->sendEvent(0, nullptr));
  EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(ComponentTest, checksAndQueriesOfTheComponentAreTheHosts) {
  make();
  _Variant value{9, 8};
  EXPECT_FALSE((*component)->checkEvent(Tavro::PortCheck::kReady, &value));
  EXPECT_FALSE((*component)->readQuery(Tavro::PortQuery::kMaximumChannels, &value));
  EXPECT_FALSE((*component)->writeQuery(Tavro::PortQuery::kConfigurePcm, &value));
  EXPECT_EQ(value.type, 9);
  EXPECT_EQ(value.value, 8U);
}

TEST_F(ComponentTest, theInformationKeysFollowWhatTheVectorHolds) {
  make();
  std::vector<const char*> keys{"one", "two"};
  EXPECT_TRUE((*component)->getInfoKeys(&keys));
  EXPECT_THAT(keys, ElementsAre(StrEq("one"), StrEq("two"), StrEq("BitsPerSample"), StrEq("Name"),
                                StrEq("Type")));
}

TEST_F(ComponentTest, theInformationEntriesHaveTheirTypesAndTexts) {
  make();
  _Variant entry{};
  ASSERT_TRUE((*component)->getInfo("Name", &entry));
  EXPECT_EQ(entry.type, 0xd);
  ASSERT_TRUE((*component)->getInfo("Type", &entry));
  EXPECT_EQ(entry.type, 0xb);
  ASSERT_TRUE((*component)->getInfo("BitsPerSample", &entry));
  EXPECT_EQ(entry.type, 0xd);
  EXPECT_EQ(info("Name"), "Core Audio Output");
  EXPECT_EQ(info("Type"), "Audio|Renderer|CoreAudio");
  EXPECT_EQ(info("BitsPerSample"), "0");
}

TEST_F(ComponentTest, anUnknownInformationKeyLeavesTheAnswerUntouched) {
  make();
  for (const char* key : {"name", "", "Name ", "Bits"}) {
    _Variant entry{9, 8};
    EXPECT_FALSE((*component)->getInfo(key, &entry)) << key;
    EXPECT_EQ(entry.type, 9);
    EXPECT_EQ(entry.value, 8U);
  }
}

TEST_F(ComponentTest, anInputOfAnotherKindIsRefused) {
  make();
  Tavro::OutputInterface& output = component->output();
  Tavro::FormatDescriptor other{1, 2, 2, 1, 2};
  EXPECT_EQ(output.connectInput(Tavro::MediaType::Audio, &other, &source), nullptr);
  format = {1, 0, 0, 2, 0};
  EXPECT_EQ(output.connectInput(static_cast<Tavro::MediaType>(1), &format, &source), nullptr);
  EXPECT_NE(output.connectInput(Tavro::MediaType::Audio, &format, &source), nullptr);
}

TEST_F(ComponentTest, aRefusedSecondConnectionKeepsStreamAndFormatOfTheFirst) {
  ASSERT_NO_FATAL_FAILURE(connect(Tavro::FormatCode::kFloat));
  FakeSource another(1234);
  Tavro::FormatDescriptor integer{1, 0, 0, 2, 0};
  EXPECT_EQ(component->output().connectInput(Tavro::MediaType::Audio, &integer, &another), nullptr);
  ASSERT_TRUE(write(48000, 2, 16));
  EXPECT_EQ(platform.liveGraph()->unit.streamFormat.mBytesPerFrame, 8U);
  session.clock.ms = 5000;
  upstream.add(pattern(8), 100, 10);
  feed();
  ASSERT_EQ(session.takeReports().at(0).streamId, 77U);
}

TEST_F(ComponentTest, onlyTheConnectedPortCanBeDisconnected) {
  make();
  Tavro::OutputInterface& output = component->output();
  EXPECT_TRUE(output.disconnectInput(nullptr));
  format = {1, 0, 0, 2, 0};
  Tavro::PortInterface* first = output.connectInput(Tavro::MediaType::Audio, &format, &source);
  EXPECT_FALSE(output.disconnectInput(nullptr));
  EXPECT_FALSE(output.disconnectInput(&upstream));
  EXPECT_TRUE(output.disconnectInput(first));
  EXPECT_FALSE(output.disconnectInput(first));
  EXPECT_EQ(output.connectInput(Tavro::MediaType::Audio, &format, &source), first);
}

TEST_F(ComponentTest, theStreamReportedIsThatOfTheLatestConnection) {
  ASSERT_NO_FATAL_FAILURE(connect());
  component->output().disconnectInput(port);
  FakeSource another(1234);
  ASSERT_EQ(component->output().connectInput(Tavro::MediaType::Audio, &format, &another), port);
  session.clock.ms = 5000;
  upstream.add(pattern(8), 100, 10);
  feed();
  ASSERT_EQ(session.takeReports().at(0).streamId, 1234U);
}

}  // namespace
