// SPDX-License-Identifier: MIT

#include "Bursts.h"
#include "FileDevice.h"

namespace {

using AudioDevices::ac3Bursts;
using AudioDevices::pcmInteger;

constexpr std::uint64_t kBurstNs = 32'000'000;  // 1536 frames at 48 kHz

class BurstFile : public FileDevice {
 protected:
  static bool offers(AudioDeviceID id, const AudioStreamBasicDescription& format) {
    return std::ranges::any_of(streamOf(id).availableFormats,
                               [&](const auto& each) { return each.mFormat == format; });
  }
  Bytes held(const std::string& name) {
    return name.ends_with(".wav") ? written(name).data : readFile(folder / name);
  }
  /// As a program does: switches the stream, plays, gives the former format back.
  static void playBursts(AudioDeviceID id, const Bytes& cycles, double rate = 48000) {
    const auto former = streamOf(id).currentFormat;
    ASSERT_EQ(setDeviceFormat(id, ac3Bursts(rate, 2)), noErr);
    BurstPlayer player(id, cycles);
    ASSERT_EQ(player.start(), noErr);
    passTime((cycles.size() / kBurst + 3) * static_cast<std::uint64_t>(1536e9 / rate));
    ASSERT_EQ(player.stop(), noErr);
    EXPECT_GT(player.calls, cycles.size() / kBurst);
    ASSERT_EQ(setDeviceFormat(id, former), noErr);
    EXPECT_EQ(streamOf(id).currentFormat, former);
  }
};

Bytes operator+(Bytes left, const Bytes& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

/// Pauses are dropped at both ends and kept in between, where they are counted; a faulty burst is
/// reported and written nevertheless.
TEST_F(BurstFile, holdsTheBurstsAndThePausesBetweenThem) {
  for (const std::uint32_t rate : {48000U, 44100U, 32000U}) {
    for (const char* name : {"out.spdif", "out.wav"}) {
      Bytes bursts = encodedBursts(40, rate, 6, 448);
      bursts[3 * kBurst + 100] ^= 1U;
      const Bytes pause(2 * kBurst);
      const AudioDeviceID id = attach(name, {.offersBursts = true});
      playBursts(id, pause + bursts + pause + bursts, rate);
      const auto report = AudioDevices::burstsOf(id);
      EXPECT_EQ(report.bursts, 80U);
      EXPECT_EQ(report.pauses, 2U);
      ASSERT_EQ(report.violations, 2U);
      EXPECT_EQ(report.first[1].burst, 44U);
      const auto totals = AudioDevices::totalsOf(id);
      EXPECT_EQ(totals.bursts, 80U);
      EXPECT_EQ(totals.framesWritten, 82U * 1536);
      EXPECT_EQ(totals.burstCycles, totals.cycles);
      EXPECT_EQ(totals.framesPlayed, totals.cycles * 1536);
      EXPECT_FALSE(AudioDevices::detach(id));
      EXPECT_EQ(held(name), bursts + pause + bursts);
    }
    EXPECT_EQ(written("out.wav").shape, (WaveShape{16, false, 2, rate}));
    EXPECT_EQ(written("out.wav").speakers, 0U);  // a plain header
  }
}

TEST_F(BurstFile, offersItsFormatsWhenAskedAndTakesNoOthers) {
  const AudioDeviceID plain = attach("plain.wav");
  const AudioDeviceID asked = attach("asked.wav", {.offersBursts = true});
  const AudioDeviceID raw = attach("raw.spdif");
  for (const double rate : {48000.0, 44100.0, 32000.0}) {
    EXPECT_FALSE(offers(plain, ac3Bursts(rate, 2)));
    EXPECT_TRUE(offers(asked, ac3Bursts(rate, 2)));
    EXPECT_TRUE(offers(raw, ac3Bursts(rate, 2)));
  }
  EXPECT_EQ(streamOf(raw).availableFormats.size(), 4U);
  EXPECT_EQ(setDeviceFormat(plain, ac3Bursts(48000, 2)), kAudioDeviceUnsupportedFormatError);
  for (const AudioDeviceID id : {asked, raw}) {
    for (const auto& other :
         {ac3Bursts(96000, 2), ac3Bursts(48000, 6), ac3Bursts(48000, 2, kAudioFormatAC3)}) {
      EXPECT_EQ(setDeviceFormat(id, other), kAudioDeviceUnsupportedFormatError);
    }
    EXPECT_EQ(streamOf(id).currentFormat, pcmInteger(48000, 2, 16));
  }
  EXPECT_EQ(setDeviceFormat(raw, pcmInteger(48000, 6, 16)), kAudioDeviceUnsupportedFormatError);
  for (const AudioDeviceID id : {plain, asked, raw}) {
    EXPECT_FALSE(AudioDevices::detach(id));
  }
}

TEST_F(BurstFile, takesNoPcmAndSaysSo) {
  const Bytes bursts = encodedBursts(3);
  for (const std::string name : {"out.spdif", "out.wav"}) {
    const AudioDeviceID id = attach(name, {.offersBursts = true});
    playBursts(id, bursts);
    EXPECT_FALSE(AudioDevices::failureOf(id));

    Graph graph;
    EXPECT_EQ(graph.setFormat(pcmInteger(48000, 2, 16)), kAudioUnitErr_FormatNotSupported);
    Source source(pcmInteger(48000, 2, 16), randomBytes(48000));
    graph.setCallback(Source::render, &source);
    EXPECT_EQ(AUGraphStart(graph.graph), kAudioUnitErr_FormatNotSupported);
    BurstPlayer noise(id, randomBytes(6144));
    EXPECT_EQ(noise.start(), kAudioDeviceUnsupportedFormatError);
    passTime(kSecond);
    EXPECT_EQ(source.framesAsked, 0U);
    EXPECT_NE(AudioDevices::failureOf(id).message.find(name), std::string::npos);

    playBursts(id, bursts);  // which are what it is for
    EXPECT_EQ(AudioDevices::detach(id).status, kAudioDeviceUnsupportedFormatError);
    const Bytes all = held(name);
    ASSERT_GE(all.size(), 6 * kBurst);
    EXPECT_EQ(Bytes(all.begin(), all.begin() + 3 * kBurst), bursts);
    EXPECT_EQ(Bytes(all.end() - 3 * kBurst, all.end()), bursts);
  }
}

TEST_F(BurstFile, aRunningUnitOrDeviceIsKeptFromTheOtherKind) {
  const AudioDeviceID id = attach("out.spdif");
  Graph graph;
  ASSERT_EQ(setDeviceFormat(id, ac3Bursts(48000, 2)), noErr);
  BurstPlayer player(id, encodedBursts(8));
  ASSERT_EQ(player.start(), noErr);
  passTime(kBurstNs);
  EXPECT_EQ(graph.setFormat(pcmInteger(48000, 2, 16)), kAudioUnitErr_FormatNotSupported);
  EXPECT_EQ(setDeviceFormat(id, pcmInteger(48000, 2, 16)), kAudioHardwareIllegalOperationError);
  passTime(10 * kBurstNs);
  ASSERT_EQ(player.stop(), noErr);
  EXPECT_EQ(AudioDevices::burstsOf(id).bursts, 8U);
  EXPECT_TRUE(AudioDevices::detach(id));
}

TEST_F(BurstFile, aWavFileStaysWithWhatItHolds) {
  const AudioDeviceID pcm = attach("pcm.wav", {.offersBursts = true});
  Source source(pcmInteger(48000, 2, 16), randomBytes(512 * 4));
  playToTheEnd(source);
  EXPECT_FALSE(offers(pcm, ac3Bursts(48000, 2)));
  EXPECT_EQ(setDeviceFormat(pcm, ac3Bursts(48000, 2)), kAudioHardwareIllegalOperationError);
  EXPECT_FALSE(AudioDevices::detach(pcm));
  EXPECT_EQ(written("pcm.wav").data, source.bytes);

  const AudioDeviceID bursts = attach("bursts.wav", {.offersBursts = true});
  playBursts(bursts, encodedBursts(1));
  EXPECT_FALSE(offers(bursts, ac3Bursts(32000, 2)));
  EXPECT_EQ(setDeviceFormat(bursts, ac3Bursts(32000, 2)), kAudioHardwareIllegalOperationError);
  EXPECT_FALSE(AudioDevices::detach(bursts));
}

}  // namespace
