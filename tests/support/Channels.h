// SPDX-License-Identifier: MIT

#pragma once

/// What the tests of real outputs share: which shapes of sound they play, and whether each channel
/// arrives where it belongs.

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "tests/support/Wave.h"

/// The sample types and channel counts at 48 kHz, and other rates.
inline std::vector<WaveShape> usualShapes() {
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
  return all;
}

inline std::string nameOfShape(const testing::TestParamInfo<WaveShape>& shape) {
  return (shape.param.isFloat ? "f" : "s") + std::to_string(shape.param.bits) + "_" +
         std::to_string(shape.param.channels) + "ch_" + std::to_string(shape.param.rate);
}

/// The channels of a WAV file in its order, as "FL FR".
inline const char* channelsOfFile(unsigned count) {
  constexpr const char* kOrders[] = {"MONO",
                                     "FL FR",
                                     "FL FR FC",
                                     "FL FR RL RR",
                                     "FL FR FC RL RR",
                                     "FL FR FC LFE RL RR",
                                     "FL FR FC LFE RC SL SR",
                                     "FL FR FC LFE RL RR SL SR"};
  return kOrders[count - 1];
}

/// One channel of interleaved 16 bit frames.
inline Bytes channelOf(const Bytes& frames, std::size_t channels, std::size_t channel) {
  Bytes samples;
  for (std::size_t at = 2 * channel; at + 1 < frames.size(); at += 2 * channels) {
    samples.insert(samples.end(), {frames[at], frames[at + 1]});
  }
  return samples;
}

/// Each channel of the file is where `order` has it in what was played, and no other one sounds.
inline void expectEachInItsPlace(const Wave& in, const Bytes& played, const std::string& order) {
  const Words ofFile = split(channelsOfFile(in.shape.channels));
  const Words ofOutput = split(order);
  for (std::size_t channel = 0; channel < ofOutput.size(); ++channel) {
    const Bytes out = channelOf(played, ofOutput.size(), channel);
    const auto from =
        static_cast<std::size_t>(std::ranges::find(ofFile, ofOutput[channel]) - ofFile.begin());
    EXPECT_TRUE(from == ofFile.size() ? testing::AssertionResult(!hasSound(out))
                                      : liesIn(out, channelOf(in.data, in.shape.channels, from), 2))
        << ofOutput[channel] << " of " << order;
  }
}
