// What is played reaches the sink bit for bit, each channel at its position, the last frame
// included.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <array>
#include <sstream>

#include "tests/server/ServerTest.h"

namespace {

/// In the order in which a WAV file has them.
const char* positionsOf(unsigned channels) {
  static constexpr std::array kPositions = {
      "mono",
      "front-left,front-right",
      "front-left,front-right,front-center",
      "front-left,front-right,rear-left,rear-right",
      "front-left,front-right,front-center,rear-left,rear-right",
      "front-left,front-right,front-center,lfe,rear-left,rear-right",
      "front-left,front-right,front-center,lfe,rear-center,side-left,side-right",
      "front-left,front-right,front-center,lfe,rear-left,rear-right,side-left,side-right"};
  return kPositions.at(channels - 1);
}

class ExactOnAServer : public ServerTest, public testing::WithParamInterface<WaveShape> {};

TEST_P(ExactOnAServer, everySampleArrives) {
  const NullSink sink{"sink", GetParam(), positionsOf(GetParam().channels)};
  startServer({sink});
  const Wave in = noise(sink.shape, sink.shape.rate / 2 + 7);
  writeWave(path("in.wav"), in);
  record(sink);
  const Result result = play({"--device", "pulse:sink", "--json", "totals", "in.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  const auto totals = nlohmann::json::parse(readFile(path("totals")));
  EXPECT_EQ(totals["callbacks"]["silent_between"], 0);
  EXPECT_GE(totals["cycles"]["frames_heard"], in.frames());
  EXPECT_TRUE(liesIn(recorded(sink, in.data.size()), in.data, sink.shape.frameBytes()))
      << "underruns: " << totals["cycles"]["underruns"];
}

std::vector<WaveShape> shapes() {
  std::vector<WaveShape> all;
  for (const WaveShape type : {WaveShape{16, false}, {24, false}, {32, false}, {32, true}}) {
    for (const unsigned channels : {1U, 2U, 6U, 8U}) {
      all.push_back({type.bits, type.isFloat, channels, 48000});
    }
  }
  for (const unsigned channels : {3U, 4U, 5U, 7U}) {
    all.push_back({16, false, channels, 48000});
  }
  for (const unsigned rate : {8000U, 44100U, 96000U, 192000U}) {
    all.push_back({16, false, 2, rate});
    all.push_back({24, false, 6, rate});
  }
  all.push_back({24, false, 8, 192000});  // slow to make, and the sink takes 160 ms at once
  return all;
}

std::string nameOf(const testing::TestParamInfo<WaveShape>& shape) {
  return sampleName(shape.param) + "_" + std::to_string(shape.param.channels) + "ch_" +
         std::to_string(shape.param.rate);
}

INSTANTIATE_TEST_SUITE_P(Shapes, ExactOnAServer, testing::ValuesIn(shapes()), nameOf);

/// One channel of interleaved 16 bit frames.
Bytes channelOf(const Bytes& frames, std::size_t channels, std::size_t channel) {
  Bytes samples;
  for (std::size_t at = 2 * channel; at + 1 < frames.size(); at += 2 * channels) {
    samples.insert(samples.end(), {frames[at], frames[at + 1]});
  }
  return samples;
}

Words split(const std::string& text) {
  Words words;
  std::istringstream stream(text);
  for (std::string word; std::getline(stream, word, ',');) {
    words.push_back(word);
  }
  return words;
}

class PositionsOnAServer : public ServerTest {
 protected:
  /// Each channel of the file is where its position is, and nothing anywhere else.
  void expectEachInItsPlace(unsigned fileChannels, const NullSink& sink) {
    startServer({sink});
    const Wave in = noise({16, false, fileChannels, 48000}, 20000);
    writeWave(path("in.wav"), in);
    record(sink);
    const Result result = play({"--device", "pulse:" + sink.name, "in.wav"});
    ASSERT_EQ(result.status, 0) << result.err;
    const Bytes out = recorded(sink, 20000 * sink.shape.frameBytes());
    const Words ofFile = split(positionsOf(fileChannels));
    const Words ofSink = split(sink.positions);
    for (std::size_t channel = 0; channel < ofSink.size(); ++channel) {
      const Bytes played = channelOf(out, ofSink.size(), channel);
      const auto from = std::ranges::find(ofFile, ofSink[channel]);
      if (from == ofFile.end()) {
        EXPECT_TRUE(std::ranges::all_of(played, [](auto byte) { return byte == 0; }))
            << ofSink[channel];
      } else {
        const auto source = static_cast<std::size_t>(from - ofFile.begin());
        EXPECT_TRUE(liesIn(played, channelOf(in.data, fileChannels, source), 2)) << ofSink[channel];
      }
    }
    killServer();
  }
};

constexpr const char* kAlsaOrder =
    "front-left,front-right,rear-left,rear-right,front-center,lfe,side-left,side-right";
constexpr const char* kOtherOrder =
    "lfe,side-right,front-center,rear-left,front-right,side-left,rear-right,front-left";

TEST_F(PositionsOnAServer, whateverTheOrderOfTheSink) {
  expectEachInItsPlace(8, {"alsa", {16, false, 8, 48000}, kAlsaOrder});
  expectEachInItsPlace(8, {"other", {16, false, 8, 48000}, kOtherOrder});
}

TEST_F(PositionsOnAServer, onASinkOfMoreChannelsThanTheFile) {
  expectEachInItsPlace(2, {"stereo", {16, false, 8, 48000}, kAlsaOrder});
  expectEachInItsPlace(6, {"surround", {16, false, 8, 48000}, kOtherOrder});
}

}  // namespace
