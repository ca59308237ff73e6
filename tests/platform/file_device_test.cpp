#include <tuple>

#include "FileDevice.h"

namespace {

using AudioDevices::Failure;
using AudioDevices::pcmFloat;
using AudioDevices::pcmInteger;

class FileFormats : public FileDevice,
                    public testing::WithParamInterface<std::tuple<std::uint32_t, std::uint32_t>> {};

/// Nothing in front, less than a cycle behind, the stream's own order, and the usual speakers.
TEST_P(FileFormats, followTheFirstStreamBitForBit) {
  const auto [channels, rate] = GetParam();
  const std::uint32_t masks[] = {0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x70F, 0x63F};
  for (const auto& format : {pcmInteger(rate, channels, 16), pcmInteger(rate, channels, 24),
                             pcmInteger(rate, channels, 32), pcmFloat(rate, channels)}) {
    const AudioDeviceID id = attach("out.wav");
    Source source(format, randomBytes(5001 * format.mBytesPerFrame));
    playToTheEnd(source, true);
    const auto totals = AudioDevices::totalsOf(id);
    EXPECT_FALSE(AudioDevices::detach(id));
    const Wave wave = written("out.wav");
    EXPECT_EQ(wave.channels, channels);
    EXPECT_EQ(wave.rate, rate);
    EXPECT_EQ(wave.bits, format.mBitsPerChannel);
    EXPECT_EQ(wave.mask, masks[channels - 1]);
    Bytes expected = source.bytes;
    expected.resize(10 * 512 * std::size_t{format.mBytesPerFrame});
    EXPECT_EQ(wave.data, expected);
    EXPECT_EQ(totals.framesWritten, 10U * 512);
    EXPECT_GT(totals.framesPlayed, totals.framesWritten);
  }
}

INSTANTIATE_TEST_SUITE_P(Channels, FileFormats,
                         testing::Combine(testing::Values(1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U),
                                          testing::Values(8000U, 44100U, 192000U)));

TEST_F(FileDevice, sixChannelsOnEightComeOutAsItsFirstSix) {
  const AudioDeviceID id = attach("out.wav");
  ASSERT_EQ(setLayout(id, kAudioChannelLayoutTag_MPEG_7_1_C), noErr);
  Source source(pcmInteger(96000, 6, 24), randomBytes(512 * 18));
  playToTheEnd(source, true);
  EXPECT_FALSE(AudioDevices::detach(id));
  const Wave wave = written("out.wav");
  ASSERT_EQ(wave.channels, 8);
  EXPECT_EQ(wave.rate, 96000U);
  ASSERT_EQ(wave.data.size(), 512U * 24);
  for (std::size_t frame = 0; frame < 512; ++frame) {
    ASSERT_TRUE(
        std::equal(&wave.data[frame * 24], &wave.data[frame * 24 + 18], &source.bytes[frame * 18]));
    ASSERT_TRUE(std::all_of(&wave.data[frame * 24 + 18], wave.data.data() + frame * 24 + 24,
                            [](auto byte) { return byte == 0; }));
  }
}

TEST_F(FileDevice, channelsGoByLabelIntoWaveOrder) {
  const AudioDeviceID id = attach("out.wav");
  ASSERT_EQ(setLayout(id, kAudioChannelLayoutTag_MPEG_5_0_B), noErr);  // L R Ls Rs C
  Source source(pcmInteger(48000, 5, 16), bytesOf(std::vector<std::int16_t>{1, 2, 3, 4, 5}));
  playToTheEnd(source);
  EXPECT_FALSE(AudioDevices::detach(id));
  const Wave wave = written("out.wav");
  EXPECT_EQ(wave.mask, 0x37U);
  auto samples = valuesOf<std::int16_t>(wave.data);
  samples.resize(5);
  EXPECT_EQ(samples, (std::vector<std::int16_t>{1, 2, 5, 3, 4}));
}

TEST_F(FileDevice, aLayoutCanBeGivenByDescriptions) {
  const AudioDeviceID id = attach("out.wav");
  const AudioObjectPropertyAddress address{kAudioDevicePropertyPreferredChannelLayout,
                                           kAudioDevicePropertyScopeOutput, 0};
  const AudioChannelLabel labels[] = {kAudioChannelLabel_LFEScreen, kAudioChannelLabel_Right,
                                      kAudioChannelLabel_Left};
  Bytes record(offsetof(AudioChannelLayout, mChannelDescriptions) +
               3 * sizeof(AudioChannelDescription));
  AudioChannelLayout layout{};
  layout.mNumberChannelDescriptions = 3;
  std::memcpy(record.data(), &layout, offsetof(AudioChannelLayout, mChannelDescriptions));
  for (std::size_t i = 0; i < 3; ++i) {
    std::memcpy(&record[offsetof(AudioChannelLayout, mChannelDescriptions) +
                        i * sizeof(AudioChannelDescription)],
                &labels[i], sizeof labels[i]);
  }
  const auto bytes = static_cast<UInt32>(record.size());
  ASSERT_EQ(AudioObjectSetPropertyData(id, &address, 0, nullptr, bytes, record.data()), noErr);
  Bytes readBack(bytes);
  UInt32 size = bytes;
  ASSERT_EQ(AudioObjectGetPropertyData(id, &address, 0, nullptr, &size, readBack.data()), noErr);
  EXPECT_EQ(readBack, record);
  Source source(pcmInteger(48000, 3, 16), bytesOf(std::vector<std::int16_t>{1, 2, 3}));
  playToTheEnd(source);
  EXPECT_FALSE(AudioDevices::detach(id));
  const Wave wave = written("out.wav");
  EXPECT_EQ(wave.mask, 0xBU);
  auto samples = valuesOf<std::int16_t>(wave.data);
  samples.resize(3);
  EXPECT_EQ(samples, (std::vector<std::int16_t>{3, 2, 1}));
}

TEST_F(FileDevice, aFormatThatWasSetStaysAndSettlesWithTheFirstStart) {
  const AudioDeviceID id = attach("out.wav");
  EXPECT_EQ(setFormat(id, pcmInteger(48000, 9, 16)), kAudioDeviceUnsupportedFormatError);
  EXPECT_EQ(setFormat(id, pcmInteger(48000, 2, 8)), kAudioDeviceUnsupportedFormatError);
  ASSERT_EQ(setFormat(id, pcmInteger(48000, 2, 24)), noErr);
  Source narrow(pcmInteger(48000, 2, 16), randomBytes(512 * 4));
  playToTheEnd(narrow);
  const auto silentFrames = AudioDevices::totalsOf(id).framesPlayed - 512;
  EXPECT_GE(silentFrames, 512U);
  EXPECT_EQ(setFormat(id, pcmInteger(48000, 2, 16)), kAudioHardwareIllegalOperationError);
  EXPECT_EQ(setLayout(id, kAudioChannelLayoutTag_Mono), kAudioHardwareIllegalOperationError);
  Source other(pcmInteger(48000, 2, 24), randomBytes(512 * 6));
  playToTheEnd(other);
  EXPECT_FALSE(AudioDevices::detach(id));
  const Wave wave = written("out.wav");
  EXPECT_EQ(wave.bits, 24);
  Bytes expected;
  for (std::size_t i = 0; i < narrow.bytes.size(); i += 2) {
    expected.insert(expected.end(), {0, narrow.bytes[i], narrow.bytes[i + 1]});
  }
  expected.insert(expected.end(), silentFrames * 6, 0);
  expected.insert(expected.end(), other.bytes.begin(), other.bytes.end());
  EXPECT_EQ(wave.data, expected);
}

TEST_F(FileDevice, anUnplayedFileIsAnEmptyOne) {
  EXPECT_FALSE(AudioDevices::detach(attach("out.wav")));
  const Wave wave = written("out.wav");
  EXPECT_EQ(wave.channels, 2);
  EXPECT_TRUE(wave.data.empty());
}

TEST_F(FileDevice, twoRunsGiveTheSameFile) {
  for (const char* name : {"one.wav", "two.wav"}) {
    const AudioDeviceID id = attach(name);
    ASSERT_EQ(setFormat(id, pcmFloat(48000, 2)), noErr);
    Source source(pcmInteger(44100, 2, 16), randomBytes(44100 * 4));
    playToTheEnd(source);
    EXPECT_FALSE(AudioDevices::detach(id));
  }
  const Bytes one = readFile(folder / "one.wav");
  EXPECT_GT(one.size(), 48000U * 8);
  EXPECT_EQ(one, readFile(folder / "two.wav"));
}

TEST_F(FileDevice, theSamePathIsTheSameDevice) {
  const AudioDeviceID id = attach("out.wav");
  EXPECT_EQ(attach("./out.wav"), id);
  EXPECT_FALSE(AudioDevices::detach(id));
  EXPECT_TRUE(AudioDevices::detach(id));
}

TEST_F(FileDevice, aPathThatCannotBeWrittenIsKnownAtOnce) {
  for (const std::string& path : {folder.string(), (folder / "none" / "out.wav").string()}) {
    Failure failure;
    EXPECT_EQ(AudioDevices::attach("file:" + path, &failure), kAudioObjectUnknown);
    EXPECT_NE(failure.status, noErr);
    EXPECT_NE(failure.message.find(path), std::string::npos);
  }
}

TEST_F(FileDevice, aFullDiskIsToldAndSticks) {
  Failure failure;
  const AudioDeviceID id = AudioDevices::attach("file:/dev/full", &failure);
  ASSERT_NE(id, kAudioObjectUnknown) << failure.message;
  Graph graph;
  Source source(pcmInteger(48000, 2, 16), Bytes(48000 * 4, 1));
  source.playOn(graph);
  AUGraphStart(graph.graph);
  passTime(kSecond);
  failure = AudioDevices::failureOf(id);
  EXPECT_NE(failure.message.find("'/dev/full'"), std::string::npos) << failure.message;
  EXPECT_NE(failure.message.find("No space left on device"), std::string::npos) << failure.message;
  EXPECT_EQ(AudioDevices::detach(id).message, failure.message);
}

TEST_F(FileDevice, aFileThatVanishesIsToldWithinASecondOfMaterial) {
  const auto lostFolder = folder / "lost";
  std::filesystem::create_directory(lostFolder);
  const AudioDeviceID id = attach("lost/out.wav");
  Graph graph;
  Source source(pcmInteger(48000, 2, 16), Bytes(48000 * 4 * 4, 1));
  source.playOn(graph);
  ASSERT_EQ(AUGraphStart(graph.graph), noErr);
  passTime(kSecond);
  EXPECT_FALSE(AudioDevices::failureOf(id));
  std::filesystem::rename(lostFolder, folder / "moved");
  passTime(kSecond + kSecond / 10);
  EXPECT_NE(AudioDevices::failureOf(id).message.find("is no longer there"), std::string::npos);
  ASSERT_EQ(AUGraphStop(graph.graph), noErr);
  EXPECT_TRUE(AudioDevices::detach(id));
}

TEST_F(FileDevice, aFileThatIsReplacedIsToldAtTheEnd) {
  const AudioDeviceID id = attach("out.wav");
  std::filesystem::rename(folder / "out.wav", folder / "old.wav");
  std::ofstream(folder / "out.wav") << "other";
  EXPECT_NE(AudioDevices::detach(id).message.find("taken its place"), std::string::npos);
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
        source->playOn(*graph);
        AUGraphStart(graph->graph);
        passTime(kSecond / 2);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "");
  const Wave wave = parseWave(readFile(path));
  EXPECT_GE(wave.data.size(), 24000U * 4);
  EXPECT_TRUE(std::ranges::all_of(wave.data, [](auto byte) { return byte == 7; }));
}

TEST_F(FileDevice, severalDevicesPlayAtOnce) {
  const AudioDeviceID ids[] = {attach("one.wav"), attach("two.wav")};
  Source sources[] = {{pcmInteger(48000, 2, 16), randomBytes(9600 * 4, 1)},
                      {pcmInteger(44100, 1, 24), randomBytes(8820 * 3, 2)}};
  Graph graphs[2];
  for (std::size_t i = 0; i < 2; ++i) {
    ASSERT_EQ(AudioUnitSetProperty(graphs[i].unit, kAudioOutputUnitProperty_CurrentDevice,
                                   kAudioUnitScope_Global, 0, &ids[i], sizeof ids[i]),
              noErr);
    sources[i].playOn(graphs[i]);
    ASSERT_EQ(AUGraphStart(graphs[i].graph), noErr);
  }
  passTime(kSecond);
  for (std::size_t i = 0; i < 2; ++i) {
    ASSERT_EQ(AUGraphStop(graphs[i].graph), noErr);
    EXPECT_FALSE(AudioDevices::detach(ids[i]));
    Bytes data = written(i == 0 ? "one.wav" : "two.wav").data;
    ASSERT_GE(data.size(), sources[i].bytes.size());
    data.resize(sources[i].bytes.size());
    EXPECT_EQ(data, sources[i].bytes);
    DisposeAUGraph(graphs[i].graph);
  }
}

}  // namespace
