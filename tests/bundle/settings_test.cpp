#include "BundleTest.h"

namespace {

using Tavro::_Variant;
using Tavro::VariantType::kUInt32;
using Tavro::VariantType::kUInt8;
using testing::ElementsAre;
using testing::IsEmpty;

class SettingsTest : public BundleTest {
 protected:
  float volume() { return platform.liveGraph()->unit.volume; }
};

TEST_F(SettingsTest, theVolumeSettingBecomesTheUnitsGain) {
  build();
  settingChange("Output", "Volume", {kUInt8, 50});
  EXPECT_THAT(journal.take(), ElementsAre("AudioUnitSetParameter(unit1, 14, 0, 0, 0.500000, 0)"));
  for (unsigned percent = 0; percent <= 255; ++percent) {
    settingChange("Output", "Volume", {kUInt8, percent});
    const float expected = percent > 100 ? 1.0F : static_cast<float>(percent) / 100.0F;
    ASSERT_EQ(volume(), expected) << percent;
  }
}

TEST_F(SettingsTest, onlyTheLowByteOfTheValueWordIsTheVolume) {
  build();
  settingChange("Output", "Volume", {kUInt8, 0xABCD0000U | 25});
  EXPECT_EQ(volume(), 0.25F);
}

TEST_F(SettingsTest, aVolumeBeforeTheGraphIsNotRemembered) {
  connect();
  journal.take();
  settingChange("Output", "Volume", {kUInt8, 20});
  EXPECT_THAT(journal.take(), IsEmpty());
  ASSERT_TRUE(write(48000, 2, 16));
  EXPECT_EQ(volume(), 1.0F);
}

TEST_F(SettingsTest, eachBuildAppliesTheSessionsCurrentVolume) {
  connect();
  session.set("Output", "Volume", {kUInt8, 30});
  ASSERT_TRUE(write(48000, 2, 16));
  EXPECT_EQ(volume(), 0.3F);
  settingChange("Output", "Volume", {kUInt8, 90});
  session.set("Output", "Volume", {kUInt8, 0});
  ASSERT_TRUE(write(44100, 2, 16));
  EXPECT_EQ(volume(), 0.0F);
}

TEST_F(SettingsTest, aSessionVolumeOfAnotherTypeCountsAsFull) {
  connect();
  session.set("Output", "Volume", {kUInt32, 30});
  ASSERT_TRUE(write(48000, 2, 16));
  EXPECT_EQ(volume(), 1.0F);
}

TEST_F(SettingsTest, everythingElseIsIgnored) {
  build();
  settingChange("Output", "Volume", {kUInt32, 50});
  settingChange("Output", "Volume", {kUInt8, 50}, static_cast<Tavro::MediaType>(1));
  settingChange("output", "volume", {kUInt8, 50});
  settingChange("OUTPUT", "Volume", {kUInt8, 50});
  settingChange("Volume", "Output", {kUInt8, 50});
  settingChange("Output", "Volume ", {kUInt8, 50});
  settingChange("Channels", "Maximum", {kUInt8, 50});
  const Tavro::Setting volumeSetting(Tavro::MediaType::Audio, narrow("Output"), narrow("Volume"));
  (*session.consumers.begin())->settingChanged(volumeSetting, nullptr);
  EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(SettingsTest, aUnitThatRefusesTheVolumeChangesNothingElse) {
  build();
  platform.fail("AudioUnitSetParameter", -1);
  settingChange("Output", "Volume", {kUInt8, 50});
  EXPECT_EQ(volume(), 1.0F);
  platform.fail("AudioUnitSetParameter", -1);
  EXPECT_TRUE(write(44100, 2, 16));
}

TEST_F(SettingsTest, aVolumeAfterTheTeardownReachesNoUnit) {
  build();
  event(Tavro::PortEvent::kDisconnect);
  journal.take();
  settingChange("Output", "Volume", {kUInt8, 50});
  EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(SettingsTest, aVolumeAfterAFailedBuildReachesNoUnit) {
  connect();
  platform.fail("AudioUnitSetProperty", -1);
  ASSERT_FALSE(write(48000, 2, 16));
  journal.take();
  settingChange("Output", "Volume", {kUInt8, 50});
  EXPECT_THAT(journal.take(), IsEmpty());
}

TEST_F(SettingsTest, theChannelLimitNeverChangesTheDevicesAnswer) {
  session.set("Channels", "Maximum", {kUInt32, 1});
  connect();
  settingChange("Channels", "Maximum", {kUInt32, 6});
  _Variant answer{};
  ASSERT_TRUE(port->readQuery(Tavro::PortQuery::kMaximumChannels, &answer));
  EXPECT_EQ(answer.value, 2U);
}

}  // namespace
