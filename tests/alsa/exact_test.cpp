// SPDX-License-Identifier: MIT

// What is played reaches the device bit for bit where it takes it so, each channel at its place,
// the last frame included.

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/alsa/AlsaTest.h"
#include "tests/support/Channels.h"

namespace {

std::string mapped(const std::string& map) {
  return "channels " + std::to_string(1 + std::ranges::count(map, ' ')) + " map \"" + map + "\"";
}

class ExactOnAlsa : public AlsaTest, public testing::WithParamInterface<WaveShape> {};

TEST_P(ExactOnAlsa, everySampleArrives) {
  define("bench", mapped(channelsOfFile(GetParam().channels)));
  const Wave in = noise(GetParam(), GetParam().rate / 2 + 7);
  const Result result = playOn("alsa:bench", in);
  expectAllArrived(in, result, played("bench"));
}

std::vector<WaveShape> shapes() {
  auto all = usualShapes();
  all.push_back({16, false, 2, 47999});
  return all;
}

INSTANTIATE_TEST_SUITE_P(Shapes, ExactOnAlsa, testing::ValuesIn(shapes()), nameOfShape);

class FormatsOnAlsa : public AlsaTest {};

TEST_F(FormatsOnAlsa, theNearestWiderSampleKeepsEveryBit) {
  const Wave in = noise({24, false, 2, 48000}, 20000);
  define("wide", "formats \"S16_LE S32_LE\"");
  ASSERT_EQ(playOn("alsa:wide", in).status, 0);
  Bytes wide;
  for (std::size_t at = 0; at < in.data.size(); at += 3) {
    wide.insert(wide.end(), {0, in.data[at], in.data[at + 1], in.data[at + 2]});
  }
  EXPECT_TRUE(liesIn(played("wide"), wide, 8));
  define("float", "formats FLOAT_LE");
  ASSERT_EQ(playOn("alsa:float", in).status, 0);
  EXPECT_TRUE(liesIn(played("float"), asFloat(in), 8));
}

TEST_F(FormatsOnAlsa, anotherRateIsResampledByTheUnitAndLastsAsLong) {
  define("bench", "rate 48000");
  const Wave in = noise({16, false, 2, 44100}, 22050);
  ASSERT_EQ(playOn("alsa:bench", in).status, 0);
  const Bytes out = played("bench");
  EXPECT_NEAR(static_cast<double>(withoutSilence(out, 4).size()) / 4, 24000, 300);
}

class ChannelsOnAlsa : public AlsaTest {
 protected:
  void expectPlaces(unsigned fileChannels, const std::string& name, const std::string& order) {
    const Wave in = noise({16, false, fileChannels, 48000}, 20000);
    ASSERT_EQ(playOn("alsa:" + name, in).status, 0) << name;
    expectEachInItsPlace(in, played(name), order);
  }
};

TEST_F(ChannelsOnAlsa, goWhereTheDeviceHasThemElseInTheUsualOrder) {
  const std::string other = "LFE SR FC RL FR SL RR FL";
  define("silent_about_it");
  define("other", mapped(other));
  define("wider", mapped(other));
  define("told", mapped("FL FR FC LFE SL SR FLC FRC") + " other_map \"" + other + "\"");
  expectPlaces(8, "silent_about_it", "FL FR RL RR FC LFE SL SR");
  expectPlaces(8, "other", other);
  expectPlaces(2, "wider", other);
  expectPlaces(8, "told", other);
}

TEST_F(ChannelsOnAlsa, asManyAreOpenedAsArePlayed) {
  define("bench");
  const Wave in = noise({16, false, 6, 48000}, 20000);
  ASSERT_EQ(playOn("alsa:bench", in).status, 0);
  EXPECT_TRUE(liesIn(channelOf(played("bench"), 6, 4), channelOf(in.data, 6, 2), 2));  // FC
}

}  // namespace
