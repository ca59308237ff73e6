// SPDX-License-Identifier: MIT

#pragma once

/// What the tests of file devices share: a folder for each test, and simulated time.

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "Play.h"
#include "tests/support/Workbench.h"
#include "time/HostTime.h"

inline constexpr std::uint64_t kSecond = 1'000'000'000;

class FileDevice : public Workbench {
 protected:
  FileDevice() { Tavro::HostTime::simulate(); }
  ~FileDevice() override {
    EXPECT_EQ(AudioDevices::Script::leftovers(), AudioDevices::Script::Leftovers{});
  }

  AudioDeviceID attach(const std::string& name, const AudioDevices::AttachOptions& options = {}) {
    AudioDevices::Failure failure;
    const AudioDeviceID id =
        AudioDevices::attach("file:" + (folder / name).string(), &failure, options);
    EXPECT_NE(id, kAudioObjectUnknown) << failure.message;
    return id;
  }
  Wave written(const std::string& name) { return readWave(folder / name); }

  static void passTime(std::uint64_t nanoseconds) {
    Tavro::HostTime::waitUntil(Tavro::HostTime::now() + nanoseconds, "test");
  }
  static void playToTheEnd(Source& source) {
    Graph graph;
    source.playOn(graph);
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
};
