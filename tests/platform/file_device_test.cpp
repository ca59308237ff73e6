#include <numeric>

#include "FileDevice.h"

namespace {

using AudioDevices::Failure;
using AudioDevices::pcmFloat;
using AudioDevices::pcmInteger;

/// Nothing in front, nothing behind what the client says, the stream's own order, and the usual
/// speakers.
class FileFormats : public FileDevice {
 protected:
  static constexpr std::uint32_t kFrames = 5001;
  static constexpr std::uint32_t kPadding = 10 * 512 - kFrames;
  void expectExact(const AudioStreamBasicDescription& format) {
    const std::uint32_t masks[] = {0, 0, 0x7, 0x33, 0x37, 0x3F, 0x70F, 0x63F};
    const AudioDeviceID id = attach("out.wav");
    Source source(format, randomBytes(kFrames * format.mBytesPerFrame));
    playToTheEnd(source);
    AudioDevices::trimEnd(id, kPadding);
    const auto totals = AudioDevices::totalsOf(id);
    EXPECT_FALSE(AudioDevices::detach(id));
    const Wave wave = written("out.wav");
    EXPECT_EQ(wave.channels, format.mChannelsPerFrame);
    const bool isFloat = (format.mFormatFlags & kAudioFormatFlagIsFloat) != 0;
    EXPECT_EQ(wave.tag, wave.channels > 2 ? 0xFFFE : isFloat ? 3 : 1);
    EXPECT_EQ(wave.rate, format.mSampleRate);
    EXPECT_EQ(wave.bits, format.mBitsPerChannel);
    EXPECT_EQ(wave.mask, masks[wave.channels - 1]);
    EXPECT_EQ(wave.data, source.bytes);
    EXPECT_EQ(totals.framesWritten, kFrames);
    EXPECT_GT(totals.framesPlayed, totals.framesWritten);
  }
};

TEST_F(FileFormats, followTheFirstStreamBitForBit) {
  for (std::uint32_t channels = 1; channels <= 8; ++channels) {
    for (const std::uint32_t rate : {8000U, 44100U, 192000U}) {
      SCOPED_TRACE(testing::Message() << channels << " channels, " << rate << " Hz");
      for (const std::uint32_t bits : {16U, 24U, 32U}) {
        expectExact(pcmInteger(rate, channels, bits));
      }
      expectExact(pcmFloat(rate, channels));
    }
  }
}

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
    EXPECT_EQ(wave.mask, mask);
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
  EXPECT_EQ(wave.bits, 24);
  Bytes expected;
  for (std::size_t i = 0; i < narrow.bytes.size(); i += 2) {
    expected.insert(expected.end(), {0, narrow.bytes[i], narrow.bytes[i + 1]});
  }
  expected.insert(expected.end(), silentFrames * 6, 0);
  expected.insert(expected.end(), other.bytes.begin(), other.bytes.end());
  EXPECT_EQ(wave.data, expected);
}

/// What a path held stays until the file is finished, and for good when nothing was played.
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
  const Bytes sound = parseWave(readFile(path)).data;
  EXPECT_GE(sound.size(), 24000U * 4);
  EXPECT_TRUE(std::ranges::all_of(sound, [](auto byte) { return byte == 7; }));
}

TEST_F(FileDevice, severalDevicesPlayAtOnce) {
  const AudioDeviceID ids[] = {attach("one.wav"), attach("two.wav")};
  Source sources[] = {{pcmInteger(48000, 2, 16), randomBytes(9600 * 4, 1)},
                      {pcmInteger(44100, 1, 24), randomBytes(8820 * 3, 2)}};
  Graph graphs[2];
  for (std::size_t i = 0; i < 2; ++i) {
    ASSERT_EQ(graphs[i].setDevice(ids[i]), noErr);
    sources[i].startOn(graphs[i]);
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
