#include "BundleTest.h"

namespace {

using Tavro::_Variant;
using Tavro::VariantType::kUInt32;
using Tavro::VariantType::kUInt8;
using testing::IsEmpty;

class SettingsTest : public BundleTest {
 protected:
  float volume() { return platform.liveGraph()->unit.volume; }

  void expectVolumeReachesNoUnit() {
    journal.take();
    announceVolume({kUInt8, 50});
    EXPECT_THAT(journal.take(), IsEmpty());
  }

  void change(const char* group, const char* name, _Variant value,
              Tavro::MediaType mediaType = Tavro::MediaType::Audio) {
    const Tavro::Setting setting(mediaType, narrow(group), narrow(name));
    (*session.consumers.begin())->settingChanged(setting, &value);
  }
};

TEST_F(SettingsTest, theVolumeSettingBecomesTheUnitsGain) {
  build();
  announceVolume({kUInt8, 50});
  EXPECT_THAT(journal.take(),
              testing::ElementsAre("AudioUnitSetParameter(unit1, 14, 0, 0, 0.5, 0)"));
  for (unsigned percent = 0; percent <= 255; ++percent) {
    announceVolume({kUInt8, 0xABCD0000U | percent});  // the low byte counts
    const float expected = percent > 100 ? 1.0F : static_cast<float>(percent) / 100.0F;
    ASSERT_EQ(volume(), expected) << percent;
  }
}

TEST_F(SettingsTest, eachBuildAppliesTheSessionsVolumeAndAnotherTypeCountsAsFull) {
  connect();
  expectVolumeReachesNoUnit();  // nor is it remembered
  ASSERT_TRUE(write(8000, 2, 16));
  EXPECT_EQ(volume(), 1.0F);
  session.settings[{"Output", "Volume"}] = {kUInt8, 30};
  ASSERT_TRUE(write(48000, 2, 16));
  EXPECT_EQ(volume(), 0.3F);
  announceVolume({kUInt8, 90});
  session.settings[{"Output", "Volume"}] = {kUInt8, 0};
  ASSERT_TRUE(write(44100, 2, 16));
  EXPECT_EQ(volume(), 0.0F);
  session.settings[{"Output", "Volume"}] = {kUInt32, 30};
  ASSERT_TRUE(write(48000, 2, 16));
  EXPECT_EQ(volume(), 1.0F);
}

TEST_F(SettingsTest, everythingElseIsIgnored) {
  build();
  change("Output", "Volume", {kUInt32, 50});
  change("Output", "Volume", {kUInt8, 50}, static_cast<Tavro::MediaType>(1));
  change("output", "volume", {kUInt8, 50});
  change("OUTPUT", "Volume", {kUInt8, 50});
  change("Volume", "Output", {kUInt8, 50});
  change("Output", "Volume ", {kUInt8, 50});
  change("Channels", "Maximum", {kUInt8, 50});
  const Tavro::Setting setting(Tavro::MediaType::Audio, narrow("Output"), narrow("Volume"));
  (*session.consumers.begin())->settingChanged(setting, nullptr);
  EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(SettingsTest, aVolumeAfterATeardownOrAFailedBuildReachesNoUnit) {
  build();
  platform.fail("AudioUnitSetProperty", -1);
  ASSERT_FALSE(write(44100, 2, 16));
  expectVolumeReachesNoUnit();
  ASSERT_TRUE(write(48000, 2, 16));
  event(Tavro::PortEvent::kDisconnect);
  expectVolumeReachesNoUnit();
}

TEST_F(SettingsTest, theChannelLimitNeverChangesTheDevicesAnswer) {
  session.settings[{"Channels", "Maximum"}] = {kUInt32, 1};
  connect();
  change("Channels", "Maximum", {kUInt32, 6});
  _Variant answer{};
  ASSERT_TRUE(port->readQuery(Tavro::PortQuery::kMaximumChannels, &answer));
  EXPECT_EQ(answer.value, 2U);
}

}  // namespace
