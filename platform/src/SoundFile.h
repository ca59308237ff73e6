#pragma once

/// A sound file being written: WAV, RF64 where it grows past 4 GiB, with nothing in it but format
/// and samples; or raw, the frames alone. The first failure is kept and ends all writing. Not for a
/// real-time thread; callers take turns.

#include <AudioDevices/AudioDevices.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "ChannelLayout.h"
#include "PcmFormat.h"

struct sf_private_tag;

namespace Platform {

/// Where each WAVE channel comes from, as an index of the device's channels; empty: a label has no
/// place in a WAVE file, or two share one.
std::vector<std::size_t> waveOrder(const Labels& labels);

enum class Container : std::uint8_t { Wav, Raw };

class SoundFile {
 public:
  /// Creates or empties the file at once; failure() tells whether that worked.
  SoundFile(std::string path, Container container);
  ~SoundFile();
  SoundFile(const SoundFile&) = delete;
  SoundFile& operator=(const SoundFile&) = delete;

  const std::string& path() const { return m_path; }
  Container container() const { return m_container; }

  /// Settles the format; 16, 24 or 32 bit integers or float, little-endian. Once.
  void begin(const PcmFormat& format, const Labels& labels);
  bool hasBegun() const { return m_file != nullptr; }

  /// Whole frames, channels in WAVE order.
  void write(std::span<const std::byte> frames);

  /// Whether the path still leads to this file.
  void checkPath();

  /// Completes and closes the file; without a begin(), as an empty one.
  void finish();

  AudioDevices::Failure failure() const;  // [any-thread]

 private:
  void fail(const std::string& what, const std::string& reason, const char* remedy);

  struct Close {
    void operator()(sf_private_tag* file) const;
  };
  const std::string m_path;
  const Container m_container;
  int m_descriptor = -1;  // -1: not open
  std::unique_ptr<sf_private_tag, Close> m_file;

  mutable std::mutex m_failureLock;
  AudioDevices::Failure m_failure;  // guarded by m_failureLock
};

}  // namespace Platform
