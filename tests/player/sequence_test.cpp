// SPDX-License-Identifier: MIT

// Several inputs in one run.

#include <gtest/gtest.h>

#include "tests/support/Workbench.h"

namespace {

class Sequence : public Workbench {
 protected:
  void SetUp() override {
    writeWave(path("s16.wav"), s16);
    writeWave(path("s24.wav"), s24);
    writeWave(path("f32.wav"), f32);
  }

  static constexpr std::size_t kCycleFrames = 512;  // at most so much silence between two

  const Wave s16 = noise({16, false, 2, 48000}, 5001, 1);
  const Wave s24 = noise({24, false, 2, 48000}, 4999, 2);
  const Wave f32 = noise({32, true, 2, 48000}, 5003, 3);
};

TEST_F(Sequence, sameFormatsFollowWithoutAGap) {
  const Wave second = noise({16, false, 2, 48000}, 777, 4);
  writeWave(path("second.wav"), second);
  const Result result = play({"--device", "file:out.wav", "--loop", "2", "s16.wav", "second.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(
      isExactly(readWave(path("out.wav")), joined({s16.data, second.data, s16.data, second.data})));
}

TEST_F(Sequence, sampleTypesChangeInOneRunAndNothingIsLost) {
  const Result result =
      play({"--device", "file:out.wav", "s16.wav", "s24.wav", "f32.wav", "s16.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  const Wave out = readWave(path("out.wav"));
  EXPECT_TRUE(out.shape.isFloat);
  EXPECT_TRUE(liesIn(withoutSilence(out.data, 8),
                     joined({asFloat(s16), asFloat(s24), f32.data, asFloat(s16)}), 8));
  EXPECT_LT(out.frames(), 5001 + 4999 + 5003 + 5001 + 3 * kCycleFrames);
}

TEST_F(Sequence, otherRatesAndChannelCountsAreFittedToTheFirst) {
  writeWave(path("mono.wav"), noise({16, false, 1, 44100}, 44100, 5));
  const Result result = play({"--device", "file:out.wav", "s16.wav", "mono.wav", "s16.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  const Wave out = readWave(path("out.wav"));
  EXPECT_EQ(out.shape, s16.shape);
  EXPECT_NEAR(static_cast<double>(out.frames()), 5001 + 48000 + 5001, 3 * kCycleFrames);
  EXPECT_EQ(framesOf(out, 0, s16.frames()), s16.data);
}

TEST_F(Sequence, tooManyChannelsAreMixedDownAndTold) {
  writeWave(path("surround.wav"), noise({16, false, 6, 48000}, 4800, 6));
  const Result result = play({"--device", "file:out.wav", "--channels", "2", "surround.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_TRUE(says(result.err, "6 channels are mixed down"));
  const Wave out = readWave(path("out.wav"));
  EXPECT_EQ(out.shape.channels, 2u);
  EXPECT_GE(out.frames(), 4800u);
}

TEST_F(Sequence, anInputThatCannotBeReadDoesNotKeepTheOthersFromPlaying) {
  const Result result = play({"--device", "file:out.wav", "s16.wav", "missing.wav", "s16.wav"});
  EXPECT_TRUE(saysInOneLine(result, 3, "missing.wav"));
  EXPECT_TRUE(isExactly(readWave(path("out.wav")), joined({s16.data, s16.data})));
}

}  // namespace
