// SPDX-License-Identifier: MIT

// What goes in comes out, sample for sample.

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

#include "tests/support/Workbench.h"

namespace {

class Exact : public Workbench {
 protected:
  void expectExact(const Wave& in, const Words& options = {}) {
    const Result result = playOn("file:out.wav", in, options);
    ASSERT_EQ(result.status, 0) << result.err;
    const Wave out = readWave(path("out.wav"));
    EXPECT_EQ(out.shape, in.shape);
    const bool hasPlainHeader = in.shape.channels <= 2;
    EXPECT_EQ(out.speakers, hasPlainHeader ? 0 : readWave(path("in.wav")).speakers);
    EXPECT_TRUE(isExactly(out, in.data))
        << in.shape.bits << " bits, " << in.shape.channels << " channels, " << in.shape.rate
        << " Hz, " << in.frames() << " frames";
  }
};

// Each of them with each of the others, though not all three.
TEST_F(Exact, everySampleTypeChannelCountAndRate) {
  const WaveShape types[] = {{16, false}, {24, false}, {32, false}, {32, true}};
  std::size_t turn = 0;
  for (const unsigned rate : {8000u, 44100u, 48000u, 96000u, 192000u}) {
    std::size_t type = turn++;
    for (const unsigned channels : {1u, 2u, 6u, 8u}) {
      const WaveShape& each = types[type++ % std::size(types)];
      expectExact(noise({each.bits, each.isFloat, channels, rate}, rate / 8 + 7));
    }
  }
}

TEST_F(Exact, inputsShorterThanTheReadyQueue) {
  constexpr std::size_t kBuffer = 48000 / 50;
  for (const std::size_t frames :
       {std::size_t{1}, kBuffer - 1, kBuffer, kBuffer + 1, 2 * kBuffer, 3 * kBuffer, 4 * kBuffer}) {
    expectExact(noise({16, false, 2, 48000}, frames));
  }
  expectExact(noise({24, false, 6, 44100}, 1));
  expectExact(noise({32, true, 1, 8000}, 1));
}

TEST_F(Exact, oddRatesAndChannelCounts) {
  for (const unsigned rate : {11025u, 22050u, 37800u, 88200u, 47999u}) {
    expectExact(noise({16, false, 2, rate}, rate / 4));
  }
  for (const unsigned channels : {3u, 4u, 5u, 7u}) {
    expectExact(noise({16, false, channels, 48000}, 4800));
  }
}

TEST_F(Exact, sixChannelsOnADeviceOfEight) {
  const Wave in = noise({16, false, 6, 48000}, 6000);
  const Result result = playOn("file:out.wav", in, {"--channels", "8"});
  ASSERT_EQ(result.status, 0) << result.err;
  const Wave out = readWave(path("out.wav"));
  ASSERT_EQ(out.shape.channels, 8u);
  Bytes expected;
  for (std::size_t i = 0; i < in.frames(); ++i) {
    const Bytes frame = framesOf(in, i, 1);
    expected.insert(expected.end(), frame.begin(), frame.end());
    expected.insert(expected.end(), 4, 0);
  }
  EXPECT_TRUE(isExactly(out, expected));
}

TEST_F(Exact, inRealTimeToo) { expectExact(noise({16, false, 2, 48000}, 9600), {"--real-time"}); }

TEST_F(Exact, partsCutToTheSample) {
  const Wave in = noise({16, false, 2, 44100}, 44100);
  writeWave(path("in.wav"), in);
  ffmpeg({"-i", "in.wav", "in.flac", "in.aiff", "-c:a", "flac", "in.mka"});
  for (const char* name : {"in.wav", "in.flac", "in.aiff", "in.mka"}) {
    const Result result =
        play({"--device", "file:out.wav", "--start", "0.25", "--length", "0:00:00.1", name});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_TRUE(isExactly(readWave(path("out.wav")), framesOf(in, 11025, 4410))) << name;
  }
}

TEST_F(Exact, volumeScalesAndFullVolumeDoesNot) {
  const Wave in = noise({32, true, 2, 48000}, 4800);
  ASSERT_EQ(playOn("file:full.wav", in, {"--volume", "100"}).status, 0);
  EXPECT_TRUE(isExactly(readWave(path("full.wav")), in.data));
  ASSERT_EQ(playOn("file:half.wav", in, {"--volume", "50"}).status, 0);
  const Wave half = readWave(path("half.wav"));
  ASSERT_GE(half.data.size(), in.data.size());
  const auto* loud = reinterpret_cast<const float*>(in.data.data());
  const auto* soft = reinterpret_cast<const float*>(half.data.data());
  for (std::size_t i = 0; i < 9600; ++i) {
    ASSERT_NEAR(soft[i], loud[i] / 2, 1e-6) << i;
  }
}

TEST_F(Exact, theExampleHostWritesItsWholeTone) {
  const Result result = run(EXAMPLE_HOST, {"tone.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  Wave tone{{16, false, 2, 48000}, {}};
  for (int i = 0; i < 2 * 96000; ++i) {
    const auto sample =
        static_cast<std::int16_t>(8000 * std::sin(2 * M_PI * 440 * (i / 2) / 48000));
    tone.data.insert(tone.data.end(), {static_cast<unsigned char>(sample & 0xff),
                                       static_cast<unsigned char>(sample >> 8 & 0xff)});
  }
  constexpr std::size_t kCycleFrames = 512;
  tone.data.resize(tone.data.size() + (kCycleFrames - 96000 % kCycleFrames) * 4);  // not trimmed
  EXPECT_TRUE(isExactly(readWave(path("tone.wav")), tone.data));
}

}  // namespace
