// SPDX-License-Identifier: MIT

// Seeks, in decoded sound and in bursts: what follows is the input from there on.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>

#include "tests/support/Workbench.h"

namespace {

using nlohmann::json;

class Seek : public Workbench {
 protected:
  void playSeeking(const std::string& device, Words arguments) {
    arguments.insert(arguments.begin(), {"-q", "--device", "file:" + device, "--json", "totals"});
    const Result result = play(arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.err, "");
    totals = Workbench::totals();
    expectCleanTotals();
  }

  void expectCleanTotals() const {
    const json& buffers = totals["buffers"];
    EXPECT_EQ(totals["seeks"], 1);
    EXPECT_EQ(buffers["dropped_late"], 0);
    EXPECT_EQ(buffers["held"], 0);
    EXPECT_EQ(buffers["balanced"], true);
    EXPECT_GT(buffers["cleared"], 0);
    EXPECT_EQ(totals["passthrough"]["violations"], 0);
    EXPECT_EQ(totals["passthrough"]["sent_again"], 0);
    EXPECT_EQ(totals["callbacks"]["silent_between"], 0);
  }

  /// How many frames of `in` the output begins with. What follows must be `rest`, exactly.
  double framesBefore(const Bytes& in, const Bytes& rest) const {
    Wave out = readWave(path("out.wav"));
    const auto differs = std::ranges::mismatch(out.data, in).in1;
    const auto before =
        static_cast<std::size_t>(differs - out.data.begin()) / out.shape.frameBytes();
    out.data = framesOf(out, before, out.frames() - before);
    EXPECT_TRUE(isExactly(out, rest));
    return static_cast<double>(before);
  }

  json totals;
};

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
        playSeeking("out.wav", {"--seek-at", way.at, "--seek-to", way.to, name});
        const auto first = static_cast<std::size_t>(std::stod(way.to) * rate + 0.5);
        EXPECT_NEAR(framesBefore(in.data, framesOf(in, first, in.frames() - first)),
                    std::stod(way.at) * rate, 0.25 * rate);
        EXPECT_NEAR(totals["graph_ms"].get<double>(), 3000, 50);
      }
    }
  }
}

/// Tracks of a second and a half. At 1.2 s the first is heard and the second already decoded.
TEST_F(Seek, goesWithTheTracksTheirPartsAndAPause) {
  const Wave first = noise({16, false, 2, 48000}, 72000, 1);
  const Wave second = noise({16, false, 2, 48000}, 72000, 2);
  writeWave(path("first.wav"), first);
  writeWave(path("second.wav"), second);
  const Bytes both = joined({first.data, second.data});
  struct Case {
    const char* arguments;
    double beforeMs;  // of `in`
    Bytes in;
    Bytes rest;
    double graphMs;
    double pausedMs = 0;
  };
  for (const Case& each :
       {Case{"--seek-at 1.2 --seek-to 0.25 first.wav second.wav", 1200, both,
             joined({framesOf(first, 12000, 60000), second.data}), 3000},
        {"--seek-at 1.8 --seek-to 0.25 first.wav second.wav", 1800, both,
         framesOf(second, 12000, 60000), 3000},
        {"--seek-at 0.5 --seek-to 9 first.wav second.wav", 500, first.data, second.data, 3000},
        {"--seek-at 0.5 --seek-to 9 first.wav", 500, first.data, {}, 1500},
        {"--start 0.25 --length 1 --seek-at 0.3 --seek-to 0.5 first.wav", 300,
         framesOf(first, 12000, 48000), framesOf(first, 36000, 24000), 1000},
        {"--pause-at 0.5 --pause-for 2 --seek-at 0.5 --seek-to 0.25 first.wav", 500, first.data,
         framesOf(first, 12000, 60000), 1500, 2000}}) {
    SCOPED_TRACE(each.arguments);
    playSeeking("out.wav", split(each.arguments));
    EXPECT_NEAR(framesBefore(each.in, each.rest), 48 * each.beforeMs, 12000);
    const double restMs = static_cast<double>(each.rest.size()) / 4 / 48;
    EXPECT_NEAR(totals["host_ms"].get<double>(), each.beforeMs + restMs + each.pausedMs, 300);
    EXPECT_NEAR(totals["graph_ms"].get<double>(), each.graphMs, 50);
  }
}

TEST_F(Seek, burstsGoOnWithTheFrameSought) {
  for (const unsigned rate : {48000u, 32000u}) {
    constexpr std::size_t kFrameBytes = 768;  // of 192 kbit/s at 48 kHz, and 128 at 32 kHz
    encode("in.ac3", {rate, 2, rate == 48000 ? 192u : 128u, 3});
    const std::vector<Bytes> frames = framesIn(readFile(path("in.ac3")), kFrameBytes);
    for (const Way& way : kWays) {
      SCOPED_TRACE(std::to_string(rate) + " " + way.at + " " + way.to);
      playSeeking("out.spdif", {"--seek-at", way.at, "--seek-to", way.to, "in.ac3"});
      const std::vector<Bytes> out = framesIn(received("out.spdif"), kFrameBytes);
      const auto before = std::mismatch(out.begin(), out.end(), frames.begin(), frames.end()).first;
      const auto first = static_cast<std::ptrdiff_t>(std::stod(way.to) * rate / 1536);
      EXPECT_TRUE(std::equal(before, out.end(), frames.begin() + first, frames.end()));
      EXPECT_NEAR(static_cast<double>(before - out.begin()), std::stod(way.at) * rate / 1536,
                  0.3 * rate / 1536);
      EXPECT_EQ(totals["passthrough"]["bursts_accepted"], out.size());
    }
  }
}

TEST_F(Seek, twoRunsAreTheSameToTheByte) {
  encode("in.ac3", {44100, 2, 128, 3});
  for (const char* mode : {"on", "off"}) {
    for (const char* name : {"one", "two"}) {
      const std::string device = mode == std::string("on") ? ".spdif" : ".wav";
      playSeeking(name + device,
                  {"--passthrough", mode, "--events", name, "--pause-at", "0.5", "--pause-for",
                   "0.3", "--seek-at", "0.5", "--seek-to", "1.4", "in.ac3"});
      std::filesystem::rename(path(name + device), path(std::string(name) + ".out"));
    }
    EXPECT_TRUE(readFile(path("one.out")) == readFile(path("two.out")));
    EXPECT_TRUE(readFile(path("one")) == readFile(path("two")));
    EXPECT_GT(readFile(path("one")).size(), 1000u);
  }
}

}  // namespace
