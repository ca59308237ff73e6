// SPDX-License-Identifier: MIT

#include <fstream>
#include <numeric>

#include "FileDevice.h"

namespace {

using AudioDevices::Failure;
using AudioDevices::pcmInteger;

/// Channels of the values 1, 2, 3 … on a device of this layout, as the file holds them.
class FileLayouts : public FileDevice {
 protected:
  void expectOrder(const Bytes& layout, const std::vector<std::int16_t>& order,
                   std::uint32_t mask) {
    const AudioDeviceID id = attach("out.wav");
    ASSERT_EQ(setLayout(id, layout), noErr);
    auto size = static_cast<UInt32>(layout.size());
    Bytes readBack(size);
    ASSERT_EQ(AudioObjectGetPropertyData(id, &kLayout, 0, nullptr, &size, readBack.data()), noErr);
    EXPECT_EQ(readBack, layout);
    std::vector<std::int16_t> channels(order.size());
    std::iota(channels.begin(), channels.end(), std::int16_t{1});
    Source source(pcmInteger(48000, static_cast<std::uint32_t>(order.size()), 16),
                  bytesOf(channels));
    playToTheEnd(source);
    EXPECT_FALSE(AudioDevices::detach(id));
    const Wave wave = written("out.wav");
    EXPECT_EQ(wave.speakers, mask);
    auto samples = valuesOf<std::int16_t>(wave.data);
    samples.resize(order.size());
    EXPECT_EQ(samples, order);
  }
};

TEST_F(FileLayouts, goByLabelIntoWaveOrder) {
  const Bytes leftRightSurroundsCentre = layoutRecord(kAudioChannelLayoutTag_MPEG_5_0_B);
  expectOrder(leftRightSurroundsCentre, {1, 2, 5, 3, 4}, 0x37);
  expectOrder(layoutRecord(kAudioChannelLayoutTag_UseChannelDescriptions,
                           {kAudioChannelLabel_LFEScreen, kAudioChannelLabel_Right,
                            kAudioChannelLabel_Left}),
              {3, 2, 1}, 0xB);
}

TEST_F(FileDevice, aFormatThatWasSetStaysAndSettlesWithTheFirstStart) {
  const AudioDeviceID id = attach("out.wav");
  EXPECT_EQ(setDeviceFormat(id, pcmInteger(48000, 9, 16)), kAudioDeviceUnsupportedFormatError);
  EXPECT_EQ(setDeviceFormat(id, pcmInteger(48000, 2, 8)), kAudioDeviceUnsupportedFormatError);
  ASSERT_EQ(setDeviceFormat(id, pcmInteger(48000, 2, 24)), noErr);
  Source narrow(pcmInteger(48000, 2, 16), randomBytes(400 * 4));
  playToTheEnd(narrow);
  AudioDevices::trimEnd(id, 112);
  const auto silentFrames = AudioDevices::totalsOf(id).framesPlayed - 400;
  EXPECT_GE(silentFrames, 512U);
  EXPECT_EQ(setDeviceFormat(id, pcmInteger(48000, 2, 16)), kAudioHardwareIllegalOperationError);
  EXPECT_EQ(setLayout(id, layoutRecord(kAudioChannelLayoutTag_Mono)),
            kAudioHardwareIllegalOperationError);
  Source other(pcmInteger(48000, 2, 24), randomBytes(512 * 6));
  playToTheEnd(other);
  EXPECT_FALSE(AudioDevices::detach(id));
  const Wave wave = written("out.wav");
  EXPECT_EQ(wave.shape.bits, 24U);
  Bytes expected;
  for (std::size_t i = 0; i < narrow.bytes.size(); i += 2) {
    expected.insert(expected.end(), {0, narrow.bytes[i], narrow.bytes[i + 1]});
  }
  expected.insert(expected.end(), silentFrames * 6, 0);
  expected.insert(expected.end(), other.bytes.begin(), other.bytes.end());
  EXPECT_EQ(wave.data, expected);
}

/// What a path held stays until the file is finished, and permanently if nothing was played.
class FileTargets : public FileDevice {
 protected:
  static constexpr const char* kFormer = "former";
  FileTargets() { put("out.wav"); }
  void put(const std::string& name) { std::ofstream(folder / name) << kFormer; }
  bool isFormer(const std::string& name) {
    return readFile(folder / name) == Bytes(kFormer, kFormer + std::strlen(kFormer));
  }
  std::size_t files() {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(folder), {}));
  }
  void playSome() { playToTheEnd(m_source); }
  Source m_source{pcmInteger(48000, 2, 16), randomBytes(5120 * 4)};
};

TEST_F(FileTargets, stayAsTheyWereWhenNothingIsPlayed) {
  EXPECT_FALSE(AudioDevices::detach(attach("out.wav")));
  EXPECT_FALSE(AudioDevices::detach(attach("new.wav")));
  EXPECT_TRUE(isFormer("out.wav"));
  EXPECT_EQ(files(), 1U);
}

TEST_F(FileTargets, areReplacedAtTheEndBehindTheirLinks) {
  put("out.wav.part");  // of an earlier run
  std::filesystem::permissions(folder / "out.wav", std::filesystem::perms::owner_all);
  std::filesystem::create_symlink("out.wav", folder / "link.wav");
  const AudioDeviceID id = attach("link.wav");
  playSome();
  EXPECT_TRUE(isFormer("out.wav"));
  EXPECT_FALSE(AudioDevices::detach(id));
  EXPECT_EQ(written("out.wav").data, m_source.bytes);
  EXPECT_TRUE(std::filesystem::is_symlink(folder / "link.wav"));
  EXPECT_EQ(std::filesystem::status(folder / "out.wav").permissions(),
            std::filesystem::perms::owner_all);
  EXPECT_TRUE(isFormer("out.wav.part"));
  EXPECT_EQ(files(), 3U);
}

TEST_F(FileTargets, ofAnotherProgramAreKeptAndThePartIsNamed) {
  const AudioDeviceID id = attach("out.wav");
  playSome();
  std::filesystem::remove(folder / "out.wav");
  put("other.wav");
  std::filesystem::rename(folder / "other.wav", folder / "out.wav");
  const std::string told = AudioDevices::detach(id).message;
  EXPECT_NE(told.find("another file has taken its place"), std::string::npos) << told;
  EXPECT_NE(told.find("out.wav.part"), std::string::npos) << told;
  EXPECT_TRUE(isFormer("out.wav"));
  EXPECT_EQ(written("out.wav.part").data, m_source.bytes);
}

TEST_F(FileDevice, aPathThatCannotBeWrittenIsKnownAtOnce) {
  for (const std::string& path : {folder.string(), (folder / "none" / "out.wav").string()}) {
    Failure failure;
    EXPECT_EQ(AudioDevices::attach("file:" + path, &failure), kAudioObjectUnknown);
    EXPECT_NE(failure.status, noErr);
    EXPECT_NE(failure.message.find(path), std::string::npos);
  }
  EXPECT_EQ(
      AudioDevices::attach("file:" + (folder / "a.wav").string(), nullptr, {.clockPpm = -100'001}),
      kAudioObjectUnknown);
}

TEST_F(FileDevice, aFileThatVanishesIsToldWithinASecondOfMaterial) {
  const auto lostFolder = folder / "lost";
  std::filesystem::create_directory(lostFolder);
  const AudioDeviceID id = attach("lost/out.wav");
  Graph graph;
  Source source(pcmInteger(48000, 2, 16), Bytes(48000 * 4 * 4, 1));
  source.startOn(graph);
  passTime(kSecond);
  EXPECT_FALSE(AudioDevices::failureOf(id));
  std::filesystem::rename(lostFolder, folder / "moved");
  passTime(kSecond + kSecond / 10);
  EXPECT_NE(AudioDevices::failureOf(id).message.find("is no longer there"), std::string::npos);
  ASSERT_EQ(AUGraphStop(graph.graph), noErr);
  EXPECT_TRUE(AudioDevices::detach(id));
}

TEST_F(FileDevice, anEarlyExitLeavesACompleteFile) {
  // The exit happens in a second run of this program, which learns the path from the environment.
  testing::FLAGS_gtest_death_test_style = "threadsafe";
  constexpr const char* kVariable = "FILE_DEVICE_TEST_PATH";
  ::setenv(kVariable, (folder / "out.wav").c_str(), 0);
  const std::filesystem::path path = std::getenv(kVariable);
  EXPECT_EXIT(
      {
        std::filesystem::remove_all(folder);
        AudioDevices::attach("file:" + path.string(), nullptr);
        auto* graph = new Graph;
        auto* source = new Source(pcmInteger(48000, 2, 16), Bytes(48000 * 4, 7));
        source->startOn(*graph);
        passTime(kSecond / 2);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
  const Bytes sound = readWave(path).data;
  EXPECT_GE(sound.size(), 24000U * 4);
  EXPECT_TRUE(std::ranges::all_of(sound, [](auto byte) { return byte == 7; }));
}

}  // namespace
