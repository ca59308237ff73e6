// SPDX-License-Identifier: MIT

// What is played reaches the sink bit for bit, each channel at its position, the last frame
// included.

#include <gtest/gtest.h>

#include <fstream>

#include "tests/server/ServerTest.h"
#include "tests/support/Channels.h"

namespace {

class ExactOnAServer : public ServerTest, public testing::WithParamInterface<WaveShape> {};

TEST_P(ExactOnAServer, everySampleArrives) {
  const NullSink sink{"sink", GetParam(), positionsOf(channelsOfFile(GetParam().channels))};
  startServer({sink});
  expectExact(sink, "pulse:sink");
}

std::vector<WaveShape> shapes() {
  auto all = usualShapes();
  for (const unsigned channels : {3U, 4U, 5U, 7U}) {
    all.push_back({16, false, channels, 48000});
  }
  all.push_back({24, false, 8, 192000});  // slow to make, and the sink takes 160 ms at once
  return all;
}

INSTANTIATE_TEST_SUITE_P(Shapes, ExactOnAServer, testing::ValuesIn(shapes()), nameOfShape);

class AlsaOnAServer : public ServerTest {};

/// As programs play that know only ALSA.
TEST_F(AlsaOnAServer, everySampleArrivesThroughThePlugIn) {
  std::ofstream(path("asound.conf"))
      << "pcm.server { type pulse server \"unix:" << path("native") << "\" device \"sink\" }\n";
  setenv("ALSA_CONFIG_PATH", path("asound.conf").c_str(), 1);
  for (const unsigned channels : {2U, 8U}) {
    SCOPED_TRACE(channels);
    const NullSink sink{
        "sink", {16, false, channels, 48000}, positionsOf(channelsOfFile(channels))};
    startServer({sink});
    expectExact(sink, "alsa:server");
    killServer();
  }
}

class PositionsOnAServer : public ServerTest {
 protected:
  void expectPlaces(unsigned fileChannels, const std::string& order) {
    const NullSink sink{"sink", {16, false, 8, 48000}, positionsOf(order)};
    startServer({sink});
    const Wave in = noise({16, false, fileChannels, 48000}, 20000);
    record(sink);
    const Result result = playOn("pulse:sink", in);
    ASSERT_EQ(result.status, 0) << result.err;
    expectEachInItsPlace(in, recorded(sink, 20000 * sink.shape.frameBytes()), order);
    killServer();
  }
};

constexpr const char* kAlsaOrder = "FL FR RL RR FC LFE SL SR";
constexpr const char* kOtherOrder = "LFE SR FC RL FR SL RR FL";

TEST_F(PositionsOnAServer, whateverTheOrderOfTheSinkAndHoweverManyItHas) {
  expectPlaces(8, kAlsaOrder);
  expectPlaces(8, kOtherOrder);
  expectPlaces(2, kAlsaOrder);
  expectPlaces(6, kOtherOrder);
}

}  // namespace
