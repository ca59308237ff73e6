// SPDX-License-Identifier: MIT

#include <cmath>
#include <limits>
#include <numbers>
#include <tuple>

#include "Play.h"

namespace {

using AudioDevices::pcmFloat;
using AudioDevices::pcmInteger;
using AudioDevices::ScriptedDevice;

AudioStreamBasicDescription bigEndian(AudioStreamBasicDescription format) {
  format.mFormatFlags |= kAudioFormatFlagIsBigEndian;
  return format;
}

/// What a device of the one format plays of a stream of the other.
Bytes converted(const AudioStreamBasicDescription& from, const AudioStreamBasicDescription& to,
                const Bytes& bytes) {
  Playing playing(to, from, bytes);
  return played(playing.device, {static_cast<std::uint32_t>(bytes.size() / from.mBytesPerFrame)});
}

Bytes littleEndian(const std::vector<std::int32_t>& values, std::size_t sampleBytes) {
  Bytes bytes;
  for (const std::int32_t value : values) {
    for (std::size_t i = 0; i < sampleBytes; ++i) {
      bytes.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(value) >> (8 * i)));
    }
  }
  return bytes;
}

Bytes reversed(Bytes bytes, std::size_t sampleBytes) {
  for (std::size_t i = 0; i < bytes.size(); i += sampleBytes) {
    std::reverse(bytes.begin() + static_cast<std::ptrdiff_t>(i),
                 bytes.begin() + static_cast<std::ptrdiff_t>(i + sampleBytes));
  }
  return bytes;
}

TEST(Conversion, equalFormatsAreCopiedBitForBitInCyclesOfAnySize) {
  for (const std::uint32_t channels : {1U, 2U, 6U, 8U}) {
    for (const auto& format :
         {pcmInteger(8000, channels, 8), pcmInteger(44100, channels, 16),
          pcmInteger(48000, channels, 24), pcmInteger(192000, channels, 32),
          pcmFloat(96000, channels), bigEndian(pcmInteger(48000, channels, 24))}) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << format.mSampleRate << " Hz");
      Playing playing(format, format, randomBytes(3003 * format.mBytesPerFrame));
      EXPECT_EQ(played(playing.device, {1, 441, 513, 2048}), playing.source.bytes);
      EXPECT_TRUE(playing.device.cycle(100).silent);
    }
  }
}

TEST(Conversion, wideningLosesNothing) {
  const std::vector<std::int32_t> samples = {0, 1, -1, 100, -100, 127, -128, 77};
  for (const std::uint32_t from : {8U, 16U, 24U}) {
    for (const std::uint32_t to : {16U, 24U, 32U}) {
      if (to < from) {
        continue;
      }
      std::vector<std::int32_t> shifted;
      for (const auto sample : samples) {
        shifted.push_back(sample * (1 << (to - from)));
      }
      const Bytes in = littleEndian(samples, from / 8);
      const Bytes out = littleEndian(shifted, to / 8);
      EXPECT_EQ(converted(pcmInteger(48000, 1, from), pcmInteger(48000, 1, to), in), out);
      EXPECT_EQ(converted(bigEndian(pcmInteger(48000, 1, from)), pcmInteger(48000, 1, to),
                          reversed(in, from / 8)),
                out);
    }
    std::vector<float> scaled;
    for (const auto sample : samples) {
      scaled.push_back(std::ldexp(static_cast<float>(sample), 1 - static_cast<int>(from)));
    }
    EXPECT_EQ(
        converted(pcmInteger(48000, 1, from), pcmFloat(48000, 1), littleEndian(samples, from / 8)),
        bytesOf(scaled));
  }
}

TEST(Conversion, narrowingRoundsAndClips) {
  const float step = 1.0F / 32768;
  const Bytes floats = bytesOf(std::vector<float>{
      1.5F, 1.0F, -1.0F, -7.0F, 0.4F * step, 0.6F * step, -0.6F * step,
      std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()});
  EXPECT_EQ(valuesOf<std::int16_t>(converted(pcmFloat(48000, 1), pcmInteger(48000, 1, 16), floats)),
            (std::vector<std::int16_t>{32767, 32767, -32768, -32768, 0, 1, -1, 0, 32767}));
  const Bytes wide = littleEndian({0x7FFFFFFF, 0x12345680, 0x12345681, 0x1234567F, -256, -1}, 4);
  EXPECT_EQ(converted(pcmInteger(48000, 1, 32), pcmInteger(48000, 1, 24), wide),
            littleEndian({0x7FFFFF, 0x123456, 0x123457, 0x123456, -1, 0}, 3));
}

TEST(Conversion, theChannelMapPermutesAndSilences) {
  ScriptedDevice device({.streams = {{.format = pcmInteger(48000, 4, 16)}}});
  Graph graph;
  Source source(pcmInteger(48000, 3, 16), bytesOf(std::vector<std::int16_t>{1, 2, 3, 4, 5, 6}));
  source.playOn(graph);
  EXPECT_EQ(graph.channelMap(), (std::vector<SInt32>{0, 1, 2, 3}));
  ASSERT_EQ(graph.setChannelMap({2, -1, 0, 7}), noErr);
  EXPECT_EQ(graph.setChannelMap({0, 1, 2}), kAudioUnitErr_InvalidPropertyValue);
  EXPECT_EQ(graph.channelMap(), (std::vector<SInt32>{2, -1, 0, 7}));
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  EXPECT_EQ(valuesOf<std::int16_t>(played(device, {2})),
            (std::vector<std::int16_t>{3, 0, 1, 0, 6, 0, 4, 0}));
}

TEST(Conversion, theChannelsOfSeveralStreamsFollowOneAnother) {
  ScriptedDevice device({.streams = {{.format = pcmInteger(48000, 2, 16)},
                                     {.format = AudioDevices::ac3Bursts(48000, 2)},
                                     {.format = pcmInteger(48000, 2, 32)}}});
  Graph graph;
  Source source(pcmInteger(48000, 4, 16), bytesOf(std::vector<std::int16_t>{1, 2, 3, 4}));
  source.startOn(graph);
  EXPECT_EQ(graph.channelMap().size(), 4U);
  const auto cycle = device.cycle(1);
  EXPECT_EQ(valuesOf<std::int16_t>(cycle.buffers.at(0)), (std::vector<std::int16_t>{1, 2}));
  EXPECT_EQ(cycle.buffers.at(1), Bytes(6144, 0));
  EXPECT_EQ(valuesOf<std::int32_t>(cycle.buffers.at(2)),
            (std::vector<std::int32_t>{3 << 16, 4 << 16}));
}

/// A tone keeps its pitch, its place and its length: each output frame is compared with the tone at
/// exactly that time.
class Resampling : public testing::TestWithParam<std::tuple<std::uint32_t, std::uint32_t>> {};

TEST_P(Resampling, keepsPitchPlaceAndLength) {
  const auto [from, to] = GetParam();
  const double hertz = 440;
  const auto tone = [hertz](std::uint32_t rate, std::size_t frame) {
    return 0.5 * std::sin(2 * std::numbers::pi * hertz * static_cast<double>(frame) / rate);
  };
  std::vector<float> samples;
  for (std::size_t frame = 0; frame < from; ++frame) {
    samples.push_back(static_cast<float>(tone(from, frame)));
  }
  Playing playing(pcmFloat(to, 1), pcmFloat(from, 1), bytesOf(samples));
  std::vector<float> heard;
  for (std::size_t cycle = 0; heard.size() < to + 8192; ++cycle) {
    const std::uint32_t sizes[] = {1, 441, 513, 2048, 4096};
    const auto values = valuesOf<float>(played(playing.device, {sizes[cycle % 5]}));
    heard.insert(heard.end(), values.begin(), values.end());
    // A tap of the filter lasts a frame of the slower rate; 32 of them reach to one side.
    const std::uint64_t least = std::uint64_t{heard.size()} * from / to;
    ASSERT_GE(playing.source.framesAsked, least);
    ASSERT_LE(playing.source.framesAsked, least + 32 * (1 + from / to) + 2);
  }
  const std::size_t edge = to / 50;
  for (std::size_t frame = edge; frame < to - edge; ++frame) {
    ASSERT_NEAR(heard[frame], tone(to, frame), 2e-3) << frame;
  }
  EXPECT_TRUE(std::all_of(heard.begin() + to + static_cast<std::ptrdiff_t>(edge), heard.end(),
                          [](float sample) { return std::abs(sample) < 1e-4F; }));
  EXPECT_TRUE(playing.device.cycle(512).silent);
}

INSTANTIATE_TEST_SUITE_P(Conversion, Resampling,
                         testing::Values(std::tuple{44100, 48000}, std::tuple{48000, 44100},
                                         std::tuple{8000, 192000}, std::tuple{192000, 8000},
                                         std::tuple{44101, 48000}, std::tuple{96000, 48000}));

TEST(Conversion, theConvertersTailIsHeardBeforeSilenceUnlessItIsReset) {
  const Bytes sound = bytesOf(std::vector<float>(600, 0.5F));  // makes 653 frames here
  Playing playing(pcmFloat(48000, 1), pcmFloat(44100, 1), sound);
  ASSERT_FALSE(playing.device.cycle(512).silent);
  ASSERT_FALSE(playing.device.cycle(512).silent);
  EXPECT_EQ(playing.source.position, sound.size());
  while (!playing.device.cycle(16).silent) {
    ASSERT_LT(playing.source.framesAsked, 3000U);
  }

  playing.source.position = 0;
  ASSERT_FALSE(playing.device.cycle(512).silent);
  playing.source.position = sound.size();
  ASSERT_EQ(AudioUnitReset(playing.graph.unit, kAudioUnitScope_Input, 0), noErr);
  EXPECT_TRUE(playing.device.cycle(512).silent);
}

TEST(Volume, scalesAndRampsWhenChanged) {
  Playing playing(pcmFloat(48000, 1), pcmFloat(48000, 1), bytesOf(std::vector<float>(4096, 1.0F)));
  const auto heard = [&](std::uint32_t frames) {
    return valuesOf<float>(played(playing.device, {frames}));
  };
  ASSERT_EQ(heard(64), std::vector<float>(64, 1.0F));
  ASSERT_EQ(playing.graph.setVolume(0.53F), noErr);
  const auto ramp = heard(64);
  EXPECT_TRUE(std::ranges::is_sorted(ramp, std::greater<>()));
  EXPECT_LT(ramp.front(), 1.0F);
  EXPECT_GT(ramp.front(), 0.98F);
  EXPECT_EQ(ramp.back(), 0.53F);
  EXPECT_EQ(heard(8), std::vector<float>(8, 0.53F));
  ASSERT_EQ(playing.graph.setVolume(1.0F), noErr);
  heard(64);
  EXPECT_EQ(heard(64), std::vector<float>(64, 1.0F));
}

TEST(Mixing, addsUnitsAndClips) {
  ScriptedDevice device({.streams = {{.format = pcmInteger(48000, 1, 16)}}});
  Graph one;
  Graph two;
  Source loud(pcmInteger(48000, 1, 16), bytesOf(std::vector<std::int16_t>{30000, -30000, 5, 7}));
  Source more(pcmFloat(48000, 1), bytesOf(std::vector<float>{0.5F, -0.5F, 0.0F, 0.0F}));
  loud.startOn(one);
  more.startOn(two);
  EXPECT_EQ(valuesOf<std::int16_t>(played(device, {4})),
            (std::vector<std::int16_t>{32767, -32768, 5, 7}));
}

}  // namespace
