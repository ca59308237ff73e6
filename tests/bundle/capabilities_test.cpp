// SPDX-License-Identifier: MIT

#include "BundleTest.h"
#include "fakes/AllocationWatch.h"

namespace {

using Tavro::_Variant;
using testing::ElementsAre;

constexpr UInt32 kDefault = kAudioHardwarePropertyDefaultOutputDevice;
constexpr UInt32 kLayout = kAudioDevicePropertyPreferredChannelLayout;

class CapabilitiesTest : public BundleTest {
 protected:
  void SetUp() override {
    // A limit of the settings changes nothing: the device answers.
    session.settings[{"Channels", "Maximum"}] = {Tavro::VariantType::kUInt32, 1};
    ASSERT_NO_FATAL_FAILURE(connect());
  }

  std::uintptr_t channels() {
    _Variant answer{9, 12345};
    journal.record(false);
    const std::int64_t blocks = AllocationWatch::liveBlocks();
    EXPECT_TRUE(port->readQuery(Tavro::PortQuery::kMaximumChannels, &answer));
    EXPECT_EQ(AllocationWatch::liveBlocks(), blocks) << "a property block was not freed";
    EXPECT_EQ(answer.type, 5);
    return answer.value;
  }

  std::uintptr_t channelsOf(AudioChannelLayoutTag tag,
                            const std::vector<AudioChannelLabel>& labels = {}) {
    platform.setLayout(tag, labels);
    return channels();
  }

  std::uintptr_t channelsOf(const Bytes& layout) {
    platform.setProperty(kDevice, kLayout, kAudioDevicePropertyScopeOutput, layout);
    return channels();
  }
};

TEST_F(CapabilitiesTest, thirteenTagsAnswerTheirCountAndEveryOtherTwo) {
  for (const AudioChannelLayoutTag tag :
       {0x00640001U, 0x006C0004U, 0x006D0005U, 0x006E0006U, 0x006F0008U, 0x00760005U, 0x00790006U,
        0x007D0007U, 0x007E0008U, 0x00800008U, 0x008B0006U, 0x008C0007U, 0x00940007U}) {
    EXPECT_EQ(channelsOf(tag), tag & 0xFFFF) << std::hex << tag;
  }
  for (const AudioChannelLayoutTag tag : {0x00650002U, 0x007A0006U, 0x00010000U, 0x007F0008U,
                                          0x00640008U, 0x00910000U, 0xFFFFFFFFU}) {
    EXPECT_EQ(channelsOf(tag, {1, 2, 3, 4, 5, 6}), 2U) << std::hex << tag;
  }
}

TEST_F(CapabilitiesTest, descriptionsCountWhereTheyAreLabelledUpToEight) {
  EXPECT_EQ(channelsOf(0, {1, 0, 2, 3, 0, 4}), 4U);
  EXPECT_EQ(channelsOf(0, {}), 0U);
  EXPECT_EQ(channelsOf(0, {0, 0}), 0U);
  EXPECT_EQ(channelsOf(0, {kAudioChannelLabel_Unknown}), 1U);
  EXPECT_EQ(channelsOf(0, std::vector<AudioChannelLabel>(12, 1)), 8U);
}

TEST_F(CapabilitiesTest, onlyWhatTheBytesReturnedHoldIsCounted) {
  constexpr std::size_t kEach = sizeof(AudioChannelDescription);
  platform.setLayout(0, {1, 2, 3, 4, 5, 6});
  Bytes bytes = platform.properties[{kDevice, kLayout, kAudioDevicePropertyScopeOutput}];
  ASSERT_EQ(bytes.size(), 12 + 6 * kEach);
  EXPECT_EQ(channelsOf(slice(bytes, 0, 12 + 3 * kEach)), 3U);
  EXPECT_EQ(channelsOf(slice(bytes, 0, 12 + 3 * kEach - 1)), 2U);
  EXPECT_EQ(channelsOf(slice(bytes, 0, 12)), 0U);
  for (const std::size_t size : {1U, 4U, 8U, 11U}) {
    EXPECT_LE(channelsOf(Bytes(size, 0)), 2U) << size;
  }
  bytes[8] = bytes[9] = bytes[10] = bytes[11] = 0xFF;  // the count of descriptions
  EXPECT_EQ(channelsOf(slice(bytes, 0, 12 + 5 * kEach)), 5U);
  platform.announcedSizes[kLayout] = static_cast<UInt32>(bytes.size());
  EXPECT_EQ(channelsOf(slice(bytes, 0, 12 + 2 * kEach)), 2U);
}

TEST_F(CapabilitiesTest, whateverCannotBeReadAnswersTwo) {
  platform.setLayout(0x006F0008);
  for (const UInt32 nth : {1U, 2U}) {
    for (const char* function : {"AudioObjectGetPropertyDataSize", "AudioObjectGetPropertyData"}) {
      platform.fail(function, kAudioHardwareBadObjectError, nth);
      EXPECT_EQ(channels(), 2U) << function;
    }
    AllocationWatch::refuseNth(nth);
    EXPECT_EQ(channels(), AllocationWatch::present() ? 2U : 8U);
    AllocationWatch::refuseNth(0);
    EXPECT_EQ(channels(), 8U);
  }
  // A read of no bytes, announced as more and as none; no such property.
  const std::array<UInt32, 3> layout = {kDevice, kLayout, kAudioDevicePropertyScopeOutput};
  const std::array<UInt32, 3> device = {kAudioObjectSystemObject, kDefault,
                                        kAudioObjectPropertyScopeGlobal};
  for (const auto& property : {layout, device}) {
    platform.properties[property].clear();
    platform.announcedSizes[property[1]] = 100;
    EXPECT_EQ(channels(), 2U);
    platform.announcedSizes.clear();
    EXPECT_EQ(channels(), 2U);
    platform.properties.erase(property);
    EXPECT_EQ(channels(), 2U);
    platform.setLayout(0x006F0008);
  }
}

TEST_F(CapabilitiesTest, fourFormatsAreAppendedInTheirOrderForAnAudioStreamsInputAlone) {
  Tavro::StandardAllocator<Tavro::Node<Tavro::FormatDescriptor>> allocator;
  Tavro::FormatList list(&allocator);
  const auto formats = [&](std::uint32_t media, std::uint32_t model, std::uint32_t type) {
    return component->component().getSupportedFormats(nullptr, static_cast<Tavro::MediaType>(media),
                                                      static_cast<Tavro::DataModel>(model),
                                                      static_cast<Tavro::PortType>(type), &list);
  };
  list.append({7, 7, 7, 7, 7});
  EXPECT_FALSE(formats(2, 2, 2));
  EXPECT_FALSE(formats(2, 1, 1));
  EXPECT_FALSE(formats(1, 2, 1));
  EXPECT_FALSE(formats(0, 0, 0));
  EXPECT_TRUE(formats(2, 2, 1));
  using testing::FieldsAre;
  std::vector<Tavro::FormatDescriptor> found;
  for (const auto* node = list.m_first; node != nullptr; node = node->next) {
    found.push_back(node->value);
  }
  EXPECT_THAT(found, ElementsAre(FieldsAre(7, 7, 7, 7, 7), FieldsAre(3, 0, 0, 2, 10),
                                 FieldsAre(0x736F7774, 0, 0, 2, 20), FieldsAre(0, 0, 0, 2, 20),
                                 FieldsAre(1, 0, 0, 2, 20)));
}

}  // namespace
