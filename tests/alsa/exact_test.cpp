// What is played reaches the device bit for bit where it takes it so, each channel at its place,
// the last frame included.

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>

#include "tests/alsa/AlsaTest.h"

namespace {

/// The order in which a WAV file has them.
const char* mapOf(unsigned channels) {
  switch (channels) {
    case 1:
      return "MONO";
    case 2:
      return "FL FR";
    case 6:
      return "FL FR FC LFE RL RR";
    default:
      return "FL FR FC LFE RL RR SL SR";
  }
}

std::string mapped(const std::string& map) {
  return "channels " + std::to_string(1 + std::ranges::count(map, ' ')) + " map \"" + map + "\"";
}

class ExactOnAlsa : public AlsaTest, public testing::WithParamInterface<WaveShape> {};

TEST_P(ExactOnAlsa, everySampleArrives) {
  const Wave in = noise(GetParam(), GetParam().rate / 2 + 7);
  define("bench", mapped(mapOf(GetParam().channels)));
  const Result result = playOn("bench", in);
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(totals()["callbacks"]["silent_between"], 0);
  EXPECT_GE(totals()["cycles"]["frames_heard"], in.frames());
  EXPECT_TRUE(liesIn(played("bench"), in.data, in.shape.frameBytes())) << totals()["cycles"];
}

std::vector<WaveShape> shapes() {
  std::vector<WaveShape> all;
  for (const WaveShape type : {WaveShape{16, false}, {24, false}, {32, false}, {32, true}}) {
    for (const unsigned channels : {1U, 2U, 6U, 8U}) {
      all.push_back({type.bits, type.isFloat, channels, 48000});
    }
  }
  for (const unsigned rate : {8000U, 44100U, 96000U, 192000U}) {
    all.push_back({16, false, 2, rate});
    all.push_back({24, false, 6, rate});
  }
  all.push_back({16, false, 2, 47999});
  return all;
}

std::string nameOf(const testing::TestParamInfo<WaveShape>& shape) {
  return (shape.param.isFloat ? "f" : "s") + std::to_string(shape.param.bits) + "_" +
         std::to_string(shape.param.channels) + "ch_" + std::to_string(shape.param.rate);
}

INSTANTIATE_TEST_SUITE_P(Shapes, ExactOnAlsa, testing::ValuesIn(shapes()), nameOf);

class FormatsOnAlsa : public AlsaTest {};

TEST_F(FormatsOnAlsa, theNearestWiderSampleKeepsEveryBit) {
  const Wave in = noise({24, false, 2, 48000}, 20000);
  define("wide", "formats \"S16_LE S32_LE\"");
  ASSERT_EQ(playOn("wide", in).status, 0);
  Bytes wide;
  for (std::size_t at = 0; at < in.data.size(); at += 3) {
    wide.insert(wide.end(), {0, in.data[at], in.data[at + 1], in.data[at + 2]});
  }
  EXPECT_TRUE(liesIn(played("wide"), wide, 8));
  define("float", "formats FLOAT_LE");
  ASSERT_EQ(playOn("float", in).status, 0);
  EXPECT_TRUE(liesIn(played("float"), asFloat(in), 8));
}

TEST_F(FormatsOnAlsa, anotherRateIsResampledByTheUnitAndLastsAsLong) {
  define("bench", "rate 48000");
  const Wave in = noise({16, false, 2, 44100}, 22050);
  ASSERT_EQ(playOn("bench", in).status, 0);
  const Bytes out = played("bench");
  const auto isSound = [](unsigned char byte) { return byte != 0; };
  const auto first = std::ranges::find_if(out, isSound) - out.begin();
  const auto last = out.rend() - std::find_if(out.rbegin(), out.rend(), isSound);
  EXPECT_NEAR(static_cast<double>(last - first) / 4, 24000, 300);
}

Words split(const std::string& text) {
  std::istringstream stream(text);
  return {std::istream_iterator<std::string>(stream), {}};
}

/// One channel of interleaved 16 bit frames.
Bytes channelOf(const Bytes& frames, std::size_t channels, std::size_t channel) {
  Bytes samples;
  for (std::size_t at = 2 * channel; at + 1 < frames.size(); at += 2 * channels) {
    samples.insert(samples.end(), {frames[at], frames[at + 1]});
  }
  return samples;
}

class ChannelsOnAlsa : public AlsaTest {
 protected:
  /// Each channel of the file is where it belongs, and nothing anywhere else.
  void expectEachInItsPlace(unsigned fileChannels, const std::string& name,
                            const std::string& order) {
    const Wave in = noise({16, false, fileChannels, 48000}, 20000);
    ASSERT_EQ(playOn(name, in).status, 0);
    const Words ofFile = split(mapOf(fileChannels));
    const Words ofPcm = split(order);
    for (std::size_t channel = 0; channel < ofPcm.size(); ++channel) {
      const Bytes out = channelOf(played(name), ofPcm.size(), channel);
      const auto from =
          static_cast<std::size_t>(std::ranges::find(ofFile, ofPcm[channel]) - ofFile.begin());
      if (from == ofFile.size()) {
        EXPECT_TRUE(std::ranges::all_of(out, [](auto byte) { return byte == 0; })) << name;
      } else {
        EXPECT_TRUE(liesIn(out, channelOf(in.data, fileChannels, from), 2))
            << name << ": " << ofPcm[channel];
      }
    }
  }
};

TEST_F(ChannelsOnAlsa, goWhereTheDeviceHasThemElseInTheUsualOrder) {
  const std::string other = "LFE SR FC RL FR SL RR FL";
  define("silent_about_it");
  define("other", mapped(other));
  define("wider", mapped(other));
  define("told", mapped("FL FR FC LFE SL SR FLC FRC") + " other_map \"" + other + "\"");
  expectEachInItsPlace(8, "silent_about_it", "FL FR RL RR FC LFE SL SR");
  expectEachInItsPlace(8, "other", other);
  expectEachInItsPlace(2, "wider", other);
  expectEachInItsPlace(8, "told", other);
}

TEST_F(ChannelsOnAlsa, asManyAreOpenedAsArePlayed) {
  define("bench");
  const Wave in = noise({16, false, 6, 48000}, 20000);
  ASSERT_EQ(playOn("bench", in).status, 0);
  EXPECT_TRUE(liesIn(channelOf(played("bench"), 6, 4), channelOf(in.data, 6, 2), 2));  // FC
}

}  // namespace
