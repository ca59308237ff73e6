// SPDX-License-Identifier: MIT

#include "BundleTest.h"

namespace {

using Tavro::_Variant;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

class ComponentTest : public BundleTest {};

TEST_F(ComponentTest, createAndDestroyLogAndRegisterInOrder) {
  make();
  component->component().destroy();  // without a session: harmless
  EXPECT_FALSE(component->component().create(nullptr));
  journal.take();
  EXPECT_TRUE(component->component().create(&session));
  EXPECT_THAT(journal.take(),
              ElementsAre("log Rendering create 369 Audio Output Creation", "session.getClock",
                          "clock.addTimeBase", "session.registerSettingConsumer",
                          "session.getSetting 2 Channels Maximum"));
  EXPECT_TRUE(component->component().destroy());
  component->component().destroy();  // a second one logs only
  EXPECT_THAT(journal.take(),
              ElementsAre("log Rendering destroy 398 Audio Output Destruction", "session.getClock",
                          "clock.removeTimeBase", "session.unregisterSettingConsumer",
                          "log Rendering destroy 398 Audio Output Destruction"));
}

TEST_F(ComponentTest, whatIsUnknownOrUnusableIsRefusedWithoutEffect) {
  build();
  for (const char* id : {"com.norvane.flowloom.component.output.single", "",
                         "com.norvane.flowloom.component.outpu"}) {
    void* out = this;
    EXPECT_EQ(plugin()->queryInterface(narrow(id), &out), 3U) << id;
    EXPECT_EQ(out, nullptr) << id;
  }
  EXPECT_TRUE(component->component().sendEvent(0x10020000, nullptr));
  EXPECT_FALSE(component->component().sendEvent(0x30030000, nullptr));
  _Variant number{Tavro::VariantType::kUInt32, 50};
  EXPECT_FALSE(component->component().checkEvent(Tavro::PortCheck::kReady, &number));
  EXPECT_FALSE(component->component().readQuery(Tavro::PortQuery::kMaximumChannels, &number));
  EXPECT_FALSE(port->readQuery(0x20130005, &number));
  EXPECT_THAT(number, testing::FieldsAre(Tavro::VariantType::kUInt32, 50U));
  Tavro::AudioProperties other;
  other.m_sampleRate = 8000;
  _Variant wrongType{Tavro::VariantType::kUInt32, objectValue(&other).value};
  EXPECT_FALSE(port->writeQuery(Tavro::PortQuery::kConfigurePassthrough, &wrongType));
  EXPECT_FALSE(write(8000, 1, 8, 0x200b000f));
  announceVolume(number);
  _Variant half{Tavro::VariantType::kUInt8, 50};
  for (const char* name : {"Volume ", "volume"}) {
    (*session.consumers.begin())
        ->settingChanged({Tavro::MediaType::Audio, narrow("Output"), narrow(name)}, &half);
  }
  EXPECT_THAT(journal.take(), IsEmpty());
  EXPECT_FALSE(write(48000, 2, 16)) << "the mode or the properties were stored";
}

TEST_F(ComponentTest, theInformationEntriesHaveTheirKeysTypesAndTexts) {
  make();
  std::vector<const char*> keys{"one"};
  EXPECT_TRUE(component->component().getInfoKeys(&keys));
  EXPECT_THAT(keys,
              ElementsAre(StrEq("one"), StrEq("BitsPerSample"), StrEq("Name"), StrEq("Type")));
  EXPECT_EQ(info("Name"), "Core Audio Output");
  EXPECT_EQ(info("Type"), "Audio|Renderer|CoreAudio");
  EXPECT_EQ(info("BitsPerSample"), "0");
  _Variant entry{};
  ASSERT_TRUE(component->component().getInfo("Type", &entry));
  EXPECT_EQ(entry.type, 0xb);
  for (const char* key : {"Name", "BitsPerSample"}) {
    ASSERT_TRUE(component->component().getInfo(key, &entry));
    EXPECT_EQ(entry.type, 0xd);
  }
  for (const char* key : {"name", "", "Name ", "Bits"}) {
    entry = {9, 8};
    EXPECT_FALSE(component->component().getInfo(key, &entry)) << key;
    EXPECT_THAT(entry, testing::FieldsAre(9, 8U));
  }
}

TEST_F(ComponentTest, anAnswerHandedOutStaysReadableAfterItsReplacement) {
  build();
  _Variant first{};
  ASSERT_TRUE(component->component().getInfo("BitsPerSample", &first));
  const auto* text = reinterpret_cast<const Tavro::WideString*>(first.value);
  const wchar_t* characters = text->m_data;
  ASSERT_TRUE(write(8000, 1, 24));
  EXPECT_EQ(info("BitsPerSample"), "24");
  EXPECT_EQ(text->m_data, characters);
  EXPECT_STREQ(characters, L"16");
  EXPECT_EQ(text->m_length, 2U);
}

TEST_F(ComponentTest, oneAudioStreamConnectsAndOnlyItsPortCanBeDisconnected) {
  make();
  Tavro::OutputInterface& output = component->output();
  Tavro::FormatDescriptor other{1, 2, 2, 1, 2};
  EXPECT_EQ(output.connectInput(Tavro::MediaType::Audio, &other, &source), nullptr);
  EXPECT_EQ(output.connectInput(static_cast<Tavro::MediaType>(1), &format, &source), nullptr);
  EXPECT_TRUE(output.disconnectInput(nullptr));
  Tavro::PortInterface* first = connectInput();
  ASSERT_NE(first, nullptr);
  EXPECT_FALSE(output.disconnectInput(nullptr));
  EXPECT_FALSE(output.disconnectInput(&upstream));
  EXPECT_TRUE(output.disconnectInput(first));
  EXPECT_FALSE(output.disconnectInput(first));
}

TEST_F(ComponentTest, aRefusedSecondConnectionKeepsStreamAndFormatALaterOneReplacesThem) {
  connect(Tavro::FormatCode::kFloat);
  FakeSource another(1234);
  const Tavro::FormatDescriptor integer{1, 0, 0, 2, 0};
  const auto connectAnother = [&] {
    return component->output().connectInput(Tavro::MediaType::Audio, &integer, &another);
  };
  const auto expectStreamAndFrameBytes = [&](std::uint32_t stream, UInt32 frameBytes) {
    EXPECT_EQ(platform.liveGraph()->unit.streamFormat.mBytesPerFrame, frameBytes);
    queue(8, 100, 10);  // reported as late
    EXPECT_EQ(session.takeReports().at(0).streamId, stream);
  };
  session.clock.ms = 5000;
  EXPECT_EQ(connectAnother(), nullptr);
  ASSERT_TRUE(write(48000, 2, 16));
  expectStreamAndFrameBytes(77, 8);
  component->output().disconnectInput(port);
  EXPECT_EQ(connectAnother(), port);
  ASSERT_TRUE(write(44100, 2, 16));
  expectStreamAndFrameBytes(1234, 4);
}

}  // namespace
