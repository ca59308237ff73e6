// Several inputs in one run.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <thread>

#include "tests/support/Wave.h"
#include "tests/support/Workbench.h"

namespace {

class Sequence : public Workbench {
 protected:
  void SetUp() override {
    writeWave(path("s16.wav"), s16);
    writeWave(path("s24.wav"), s24);
    writeWave(path("f32.wav"), f32);
  }

  /// The pieces one after the other, at most a device cycle of silence between two.
  static testing::AssertionResult holdsInTurn(const Wave& wave, const std::vector<Bytes>& parts) {
    constexpr std::size_t kCycleFrames = 512;
    const std::size_t cycle = kCycleFrames * wave.shape.frameBytes();
    auto at = wave.data.begin();
    for (std::size_t i = 0; i < parts.size(); ++i) {
      const auto found = std::search(at, wave.data.end(), parts[i].begin(), parts[i].end());
      if (found == wave.data.end()) {
        return testing::AssertionFailure() << "part " << i << " is not there";
      }
      const auto gap = static_cast<std::size_t>(found - at);
      if (gap >= (i == 0 ? 1 : cycle)) {
        return testing::AssertionFailure() << gap << " bytes before part " << i;
      }
      at = found + static_cast<std::ptrdiff_t>(parts[i].size());
    }
    return testing::AssertionSuccess();
  }

  const Wave s16 = noise({16, false, 2, 48000}, 5001, 1);
  const Wave s24 = noise({24, false, 2, 48000}, 4999, 2);
  const Wave f32 = noise({32, true, 2, 48000}, 5003, 3);
};

TEST_F(Sequence, sameFormatsFollowWithoutAGap) {
  const Wave second = noise({16, false, 2, 48000}, 777, 4);
  writeWave(path("second.wav"), second);
  const Result result = play({"--device", "file:out.wav", "--loop", "2", "s16.wav", "second.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  Bytes expected;
  for (const Wave* wave : {&s16, &second, &s16, &second}) {
    expected.insert(expected.end(), wave->data.begin(), wave->data.end());
  }
  EXPECT_TRUE(isExactly(readWave(path("out.wav")), expected));
}

TEST_F(Sequence, sampleTypesChangeInOneRunAndNothingIsLost) {
  const Result result =
      play({"--device", "file:out.wav", "s16.wav", "s24.wav", "f32.wav", "s16.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  const Wave out = readWave(path("out.wav"));
  EXPECT_TRUE(out.shape.isFloat);
  EXPECT_TRUE(holdsInTurn(out, {asFloat(s16), asFloat(s24), f32.data, asFloat(s16)}));
}

TEST_F(Sequence, otherRatesAndChannelCountsAreFittedToTheFirst) {
  writeWave(path("mono.wav"), noise({16, false, 1, 44100}, 44100, 5));
  const Result result = play({"--device", "file:out.wav", "s16.wav", "mono.wav", "s16.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  const Wave out = readWave(path("out.wav"));
  EXPECT_EQ(out.shape, s16.shape);
  EXPECT_NEAR(static_cast<double>(out.frames()), 5001 + 48000 + 5001, 3 * 512);
  EXPECT_EQ(framesOf(out, 0, s16.frames()), s16.data);
}

TEST_F(Sequence, tooManyChannelsAreMixedDownAndTold) {
  writeWave(path("surround.wav"), noise({16, false, 6, 48000}, 4800, 6));
  const Result result = play({"--device", "file:out.wav", "--channels", "2", "surround.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_NE(result.err.find("6 channels are mixed down"), std::string::npos) << result.err;
  const Wave out = readWave(path("out.wav"));
  EXPECT_EQ(out.shape.channels, 2u);
  EXPECT_GE(out.frames(), 4800u);
}

TEST_F(Sequence, anInputThatCannotBeReadDoesNotKeepTheOthersFromPlaying) {
  const Result result = play({"--device", "file:out.wav", "s16.wav", "missing.wav", "s16.wav"});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.errorLines(), 1u) << result.err;
  Bytes expected = s16.data;
  expected.insert(expected.end(), s16.data.begin(), s16.data.end());
  EXPECT_TRUE(isExactly(readWave(path("out.wav")), expected));
}

}  // namespace
