// SPDX-License-Identifier: MIT

#pragma once

/// Writes a sound file: WAV, RF64 beyond 4 GiB, with only format and samples and a plain PCM header
/// where that suffices; or raw frames. The path keeps its former content until the file is
/// finished. The first failure is kept and ends all writing. Not for a real-time thread; callers
/// must serialize their calls.

#include <AudioDevices/AudioDevices.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "locks/Mutex.h"
#include "platform/format/ChannelLayout.h"
#include "platform/format/PcmFormat.h"
#include "platform/system/OutputFile.h"

struct sf_private_tag;

namespace Platform {

enum class Container : std::uint8_t { Wav, Raw };

class SoundFile {
 public:
  /// Afterwards failure() reports whether the path can be written.
  SoundFile(std::string path, Container container);
  ~SoundFile();
  SoundFile(const SoundFile&) = delete;
  SoundFile& operator=(const SoundFile&) = delete;

  const std::string& path() const { return m_path; }
  Container container() const { return m_container; }

  /// Settles the format: 16, 24 or 32 bit integers or float, little-endian. Call once.
  void begin(const PcmFormat& format, const Labels& labels);
  bool hasBegun() const { return m_file != nullptr; }

  /// Writes whole frames, channels in WAVE order.
  void write(std::span<const std::byte> frames);

  /// Updates the header, for readers and for recovery after a crash; fails if the file is no longer
  /// there.
  void check();

  /// Completes the file and moves it to the path. Leaves the path as it was without any frames, and
  /// after a failure, when the frames stay in the part file.
  void finish();

  AudioDevices::Failure failure() const;  // [any-thread]

 private:
  void fail(const std::string& what, const std::string& reason, const std::string& remedy);
  void closeSound();
  std::string rest() const;

  struct Close {
    void operator()(sf_private_tag* file) const;
  };
  const std::string m_path;
  const Container m_container;
  OutputFile m_output;
  bool m_hasFrames = false;
  std::uint16_t m_plainTag = 0;  // of a header without speakers; 0: they must be named
  std::unique_ptr<sf_private_tag, Close> m_file;

  mutable Tavro::Mutex<Tavro::LockRank::DriverFailure> m_failureLock;
  AudioDevices::Failure m_failure TAVRO_GUARDED_BY(m_failureLock);
};

}  // namespace Platform
