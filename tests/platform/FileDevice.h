#pragma once

/// What the tests of file devices share: a folder for each test, simulated time, and a reader of
/// what was written.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "Play.h"
#include "time/HostTime.h"

inline constexpr std::uint64_t kSecond = 1'000'000'000;

inline Bytes readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

struct Wave {
  std::uint16_t tag = 0;
  std::uint16_t channels = 0;
  std::uint16_t bits = 0;
  std::uint32_t rate = 0;
  std::uint32_t mask = 0;
  Bytes data;
};

/// Reads the chunks by itself, so that writer and reader do not share a mistake.
inline Wave parseWave(const Bytes& file) {
  const auto number = [&file](std::size_t at, std::size_t bytes) {
    std::uint32_t value = 0;
    std::memcpy(&value, file.data() + at, bytes);
    return value;
  };
  Wave wave;
  const std::string text(file.begin(), file.end());
  EXPECT_TRUE(text.starts_with("RIFF"));
  EXPECT_EQ(number(4, 4), file.size() - 8);
  for (std::size_t at = 12; at + 8 <= file.size();) {
    const std::string name = text.substr(at, 4);
    const std::uint32_t size = number(at + 4, 4);
    if (name == "fmt ") {
      wave.tag = static_cast<std::uint16_t>(number(at + 8, 2));
      wave.channels = static_cast<std::uint16_t>(number(at + 10, 2));
      wave.rate = number(at + 12, 4);
      wave.bits = static_cast<std::uint16_t>(number(at + 22, 2));
      wave.mask = size >= 40 ? number(at + 28, 4) : 0;
    } else if (name == "data") {
      const auto begin = file.begin() + static_cast<std::ptrdiff_t>(at + 8);
      wave.data.assign(begin, begin + size);
    }
    at += 8 + size + size % 2;
  }
  return wave;
}

class FileDevice : public testing::Test {
 protected:
  FileDevice() {
    Tavro::HostTime::simulate();
    std::string name = (std::filesystem::temp_directory_path() / "file-device-XXXXXX").string();
    folder = ::mkdtemp(name.data());
  }
  ~FileDevice() override {
    std::filesystem::remove_all(folder);
    EXPECT_EQ(AudioDevices::Script::leftovers(), AudioDevices::Script::Leftovers{});
  }

  AudioDeviceID attach(const std::string& name, const AudioDevices::AttachOptions& options = {}) {
    AudioDevices::Failure failure;
    const AudioDeviceID id =
        AudioDevices::attach("file:" + (folder / name).string(), &failure, options);
    EXPECT_NE(id, kAudioObjectUnknown) << failure.message;
    return id;
  }
  Wave written(const std::string& name) { return parseWave(readFile(folder / name)); }

  static void passTime(std::uint64_t nanoseconds) {
    Tavro::HostTime::waitUntil(Tavro::HostTime::now() + nanoseconds, "test");
  }
  static void playToTheEnd(Source& source) {
    Graph graph;
    source.playOn(graph);
    if (graph.channelMap().size() == 8) {  // the file's sides come last
      ASSERT_EQ(graph.setChannelMap({0, 1, 2, 3, 6, 7, 4, 5}), noErr);
    }
    ASSERT_EQ(AUGraphStart(graph.graph), noErr);
    const std::size_t frames = source.bytes.size() / source.format.mBytesPerFrame;
    const double seconds = static_cast<double>(frames + 2048) / source.format.mSampleRate;
    passTime(static_cast<std::uint64_t>(seconds * static_cast<double>(kSecond)));
    EXPECT_EQ(source.position, source.bytes.size());
    ASSERT_EQ(AUGraphStop(graph.graph), noErr);
  }
  static OSStatus setLayout(AudioDeviceID id, const Bytes& layout) {
    return AudioObjectSetPropertyData(id, &kLayout, 0, nullptr, static_cast<UInt32>(layout.size()),
                                      layout.data());
  }
  static AudioDevices::StreamDescription streamOf(AudioDeviceID id) {
    return AudioDevices::describe(id).streams.at(0);
  }
  static OSStatus setDeviceFormat(AudioDeviceID id, const AudioStreamBasicDescription& format) {
    return setFormat(streamOf(id).id, format);
  }

  std::filesystem::path folder;
};
