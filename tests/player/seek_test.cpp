// Seeks, in decoded sound and in bursts: what follows is the input from there on.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <fstream>

#include "tests/support/Ac3.h"
#include "tests/support/Wave.h"

namespace {

using nlohmann::json;

class Seek : public Ac3Workbench {
 protected:
  Result playSeeking(const std::string& device, Words arguments) {
    arguments.insert(arguments.begin(), {"--device", "file:" + device, "--json", "totals"});
    Result result = play(arguments);
    totals = json::parse(std::ifstream(path("totals")), nullptr, false);
    return result;
  }

  void expectCleanTotals() const {
    const json& buffers = totals["buffers"];
    EXPECT_EQ(totals["seeks"], 1);
    EXPECT_EQ(buffers["dropped_late"], 0);
    EXPECT_EQ(buffers["held"], 0);
    EXPECT_EQ(buffers["balanced"], true);
    EXPECT_GT(buffers["cleared"], 0);
    EXPECT_EQ(totals["passthrough"]["violations"], 0);
    EXPECT_EQ(totals["callbacks"]["silent_between"], 0);
  }

  json totals;
};

std::size_t commonBytes(const Bytes& a, const Bytes& b) {
  return static_cast<std::size_t>(std::mismatch(a.begin(), a.end(), b.begin(), b.end()).first -
                                  a.begin());
}

/// How many frames of `in` stand in `out` before the rest, which has to be `rest`, exactly.
std::size_t framesBefore(const Wave& out, const Bytes& in, const Bytes& rest) {
  const std::size_t before = commonBytes(out.data, in) / out.shape.frameBytes();
  const Wave behind{out.shape, ::framesOf(out, before, out.frames() - before)};
  EXPECT_TRUE(isExactly(behind, rest));
  return before;
}

struct Way {
  const char* at;
  const char* to;
};
const Way kWays[] = {{"0", "2.3"}, {"1.1", "2.5001"}, {"1.1", "0"}, {"2.3", "0.7"}};

TEST_F(Seek, decodedSoundGoesOnWhereSought) {
  for (const unsigned rate : {48000u, 44100u}) {
    const Wave in = noise({16, false, 2, rate}, 3 * rate);
    writeWave(path("in.wav"), in);
    ffmpeg({"-i", "in.wav", "in.flac"});
    for (const char* name : {"in.wav", "in.flac"}) {
      for (const Way& way : kWays) {
        SCOPED_TRACE(std::string(name) + " " + way.at + " " + way.to);
        const Result result =
            playSeeking("out.wav", {"--seek-at", way.at, "--seek-to", way.to, name});
        ASSERT_EQ(result.status, 0) << result.err;
        const auto first = static_cast<std::size_t>(std::stod(way.to) * rate + 0.5);
        const std::size_t before = framesBefore(readWave(path("out.wav")), in.data,
                                                ::framesOf(in, first, in.frames() - first));
        EXPECT_NEAR(static_cast<double>(before), std::stod(way.at) * rate, 0.25 * rate);
        EXPECT_NEAR(totals["graph_ms"].get<double>(), 3000, 50);
        expectCleanTotals();
      }
    }
  }
}

TEST_F(Seek, aPausedOneStaysPaused) {
  const Wave in = noise({16, false, 2, 48000}, 144000);
  writeWave(path("in.wav"), in);
  ASSERT_EQ(playSeeking("out.wav", {"--pause-at", "1", "--pause-for", "2", "--seek-at", "1",
                                    "--seek-to", "0.5", "in.wav"})
                .status,
            0);
  const std::size_t before =
      framesBefore(readWave(path("out.wav")), in.data, ::framesOf(in, 24000, 120000));
  EXPECT_NEAR(totals["host_ms"].get<double>(), 3500 + 2000, 300);
  EXPECT_NEAR(static_cast<double>(before), 48000, 12000);
  expectCleanTotals();
}

TEST_F(Seek, theTrackThatIsHeardIsTheOneSoughtIn) {
  const Wave first = noise({16, false, 2, 48000}, 72000, 1);
  const Wave second = noise({16, false, 2, 48000}, 72000, 2);
  writeWave(path("first.wav"), first);
  writeWave(path("second.wav"), second);
  struct Case {
    const char* at;
    Bytes rest;
  };
  Bytes both = ::framesOf(first, 12000, 60000);
  both.insert(both.end(), second.data.begin(), second.data.end());
  Bytes in = first.data;
  in.insert(in.end(), second.data.begin(), second.data.end());
  // At 1.2 s the first is heard and the second already decoded.
  for (const Case& each : {Case{"1.2", both}, {"1.8", ::framesOf(second, 12000, 60000)}}) {
    SCOPED_TRACE(each.at);
    const Result result = playSeeking(
        "out.wav", {"--seek-at", each.at, "--seek-to", "0.25", "first.wav", "second.wav"});
    ASSERT_EQ(result.status, 0) << result.err;
    framesBefore(readWave(path("out.wav")), in, each.rest);
    EXPECT_NEAR(totals["graph_ms"].get<double>(), 3000, 50);
    expectCleanTotals();
  }
}

TEST_F(Seek, behindTheEndTheNextTrackFollows) {
  const Wave first = noise({16, false, 2, 48000}, 96000, 1);
  const Wave second = noise({16, false, 2, 48000}, 4800, 2);
  writeWave(path("first.wav"), first);
  writeWave(path("second.wav"), second);
  Result result =
      playSeeking("out.wav", {"--seek-at", "0.5", "--seek-to", "9", "first.wav", "second.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  framesBefore(readWave(path("out.wav")), first.data, second.data);
  expectCleanTotals();

  result = playSeeking("out.wav", {"-q", "--seek-at", "0.5", "--seek-to", "9", "first.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  framesBefore(readWave(path("out.wav")), first.data, {});
  expectCleanTotals();
}

TEST_F(Seek, startAndLengthKeepTheirMeaning) {
  const Wave in = noise({16, false, 2, 48000}, 144000);
  writeWave(path("in.wav"), in);
  const Result result = playSeeking("out.wav", {"--start", "0.5", "--length", "2", "--seek-at",
                                                "0.6", "--seek-to", "1.5", "in.wav"});
  ASSERT_EQ(result.status, 0) << result.err;
  framesBefore(readWave(path("out.wav")), ::framesOf(in, 24000, 96000),
               ::framesOf(in, 96000, 24000));
  expectCleanTotals();
}

TEST_F(Seek, burstsGoOnWithTheFrameSought) {
  for (const unsigned rate : {48000u, 32000u}) {
    constexpr std::size_t kFrameBytes = 768;  // of 192 kbit/s at 48 kHz, and 128 at 32 kHz
    encode("in.ac3", {rate, 2, rate == 48000 ? 192u : 128u, 3});
    const std::vector<Bytes> frames = framesOf(readFile(path("in.ac3")), kFrameBytes);
    for (const Way& way : kWays) {
      SCOPED_TRACE(std::to_string(rate) + " " + way.at + " " + way.to);
      const Result result =
          playSeeking("out.spdif", {"--seek-at", way.at, "--seek-to", way.to, "in.ac3"});
      ASSERT_EQ(result.status, 0) << result.err;
      const std::vector<Bytes> out = framesOf(received("out.spdif"), kFrameBytes);
      const auto before = std::mismatch(out.begin(), out.end(), frames.begin(), frames.end()).first;
      const auto first = static_cast<std::ptrdiff_t>(std::stod(way.to) * rate / 1536);
      EXPECT_TRUE(std::equal(before, out.end(), frames.begin() + first, frames.end()));
      EXPECT_NEAR(static_cast<double>(before - out.begin()), std::stod(way.at) * rate / 1536,
                  0.3 * rate / 1536);
      EXPECT_EQ(totals["passthrough"]["bursts_accepted"], out.size());
      EXPECT_EQ(totals["passthrough"]["sent_again"], 0);
      expectCleanTotals();
    }
  }
}

TEST_F(Seek, twoRunsAreTheSameToTheByte) {
  encode("in.ac3", {44100, 2, 128, 3});
  for (const char* mode : {"on", "off"}) {
    for (const char* name : {"one", "two"}) {
      const std::string device = mode == std::string("on") ? ".spdif" : ".wav";
      ASSERT_EQ(playSeeking(name + device, {"--passthrough", mode, "--events", name, "--pause-at",
                                            "0.5", "--pause-for", "0.3", "--seek-at", "1.3",
                                            "--seek-to", "0.4", "in.ac3"})
                    .status,
                0);
      std::filesystem::rename(path(name + device), path(std::string(name) + ".out"));
    }
    EXPECT_TRUE(readFile(path("one.out")) == readFile(path("two.out")));
    EXPECT_TRUE(readFile(path("one")) == readFile(path("two")));
    EXPECT_GT(readFile(path("one")).size(), 1000u);
  }
}

}  // namespace
