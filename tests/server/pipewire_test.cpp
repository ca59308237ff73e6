// The same on PipeWire's server: exact where its sinks are, listed, followed, told when lost.

#include <gtest/gtest.h>

#include "tests/server/PipeWireTest.h"
#include "tests/support/Channels.h"

namespace {

class OnPipeWire : public PipeWireTest {
 protected:
  /// The session manager carries it out some time after the answer.
  void setDefault(const std::string& sink) const {
    pactl({"set-default-sink", sink});
    EXPECT_TRUE(eventually([&] { return defaultSink() == sink; })) << sink;
  }
};

class ExactOnPipeWire : public PipeWireTest, public testing::WithParamInterface<WaveShape> {};

TEST_P(ExactOnPipeWire, everySampleArrives) {
  const NullSink sink{"sink", GetParam(), positionsOf(channelsOfFile(GetParam().channels))};
  startPipeWire({sink});
  expectExact(sink, "pulse:sink");
}

INSTANTIATE_TEST_SUITE_P(Shapes, ExactOnPipeWire,
                         testing::Values(WaveShape{16, false, 2}, WaveShape{24, false, 2},
                                         WaveShape{32, true, 2}, WaveShape{16, false, 8}),
                         nameOfShape);

TEST_F(OnPipeWire, sinksAreListedAndTheDefaultIsFollowedWhenItChangesAndWhenItGoes) {
  const NullSink one{"one", {16, false, 2, 48000}};
  const NullSink two{"two", {16, false, 2, 48000}};
  startPipeWire({one});
  pactl({"load-module", "module-null-sink", "sink_name=two", "channel_map=FL,FR"});
  setDefault("one");
  const Result list = play({"--list-devices"});
  EXPECT_TRUE(says(list.out, "* pulse:one"));
  EXPECT_TRUE(says(list.out, "  pulse:two"));

  const Wave in = noise({16, false, 2, 48000}, 8 * 48000);
  writeWave(path("in.wav"), in);
  record(one);
  record(two);
  const pid_t player = begin(PLAYER, {"in.wav"});
  EXPECT_TRUE(eventually([&] { return hasSound(recordedYet(one)); }));
  setDefault("two");
  EXPECT_TRUE(eventually([&] { return hasSound(recordedYet(two)); })) << pactl({"list", "short"});
  unload("two");
  const Result result = end(player);
  EXPECT_TRUE(result.status == 0 || result.status == 1) << result.err;  // late buffers: 1
  EXPECT_TRUE(contains(recorded(one, 0), framesOf(in, in.frames() - 48000, 48000)));
}

}  // namespace
