// SPDX-License-Identifier: MIT

#include <cmath>
#include <utility>
#include <vector>

#include "BundleTest.h"
#include "coreaudio/CoreAudioOutput.h"

namespace {

using Tavro::_Variant;
using Tavro::VariantType::kUInt32;
using Tavro::VariantType::kUInt8;
using testing::IsEmpty;

/// The bundle shows no type information, which the check of the object's type would need.
[[gnu::no_sanitize("vptr")]] std::uint8_t volumeOf(Tavro::Plugin& plugin) {
  return static_cast<Tavro::CoreAudioOutput&>(plugin).getVolume();
}

class SettingsTest : public BundleTest {
 protected:
  float volume() { return platform.liveGraph()->unit.volume; }
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
  announceVolume({kUInt8, 50});  // there is no unit to reach, nor is it remembered
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

TEST_F(SettingsTest, aVolumeAnnouncedWhileAWriteReadsItIsTheOneThatStays) {
  connect();
  for (const std::uint32_t volume : {30U, 40U}) {
    bool announced = false;
    platform.onCall("AudioUnitSetParameter", [&] {
      if (!std::exchange(announced, true)) {
        announceVolume({kUInt8, volume});
      }
    });
    ASSERT_TRUE(write(44100 + volume, 2, 16));
    EXPECT_EQ(this->volume(), static_cast<float>(volume) / 100.0F);
  }
}

TEST_F(SettingsTest, theVolumeReadsBackInWholePercent) {
  build();
  for (const auto& [gain, percent] : std::vector<std::pair<float, int>>{
           {0.5F, 50}, {0.53F, 52}, {0.59F, 58}, {1.0F, 100}, {NAN, 0}, {INFINITY, 0}, {3e9F, 0}}) {
    platform.liveGraph()->unit.volume = gain;
    EXPECT_EQ(volumeOf(*plugin()), percent) << gain;
  }
  platform.fail("AudioUnitGetParameter", -1);
  EXPECT_EQ(volumeOf(*plugin()), 0);
  event(Tavro::PortEvent::kDisconnect);
  EXPECT_EQ(volumeOf(*plugin()), 0);
}

}  // namespace
