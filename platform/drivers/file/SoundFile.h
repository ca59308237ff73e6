#pragma once

/// A sound file being written: WAV, RF64 where it grows past 4 GiB, with nothing in it but format
/// and samples, and a plain PCM header where that says it all; or raw, the frames alone. The path
/// keeps what it held until the file is finished. The first failure is kept and ends all writing.
/// Not for a real-time thread; callers take turns.

#include <AudioDevices/AudioDevices.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <vector>

#include "platform/format/ChannelLayout.h"
#include "platform/format/PcmFormat.h"
#include "platform/system/OutputFile.h"

struct sf_private_tag;

namespace Platform {

/// Where each WAVE channel comes from, as an index of the device's channels; empty: a label has no
/// place in a WAVE file, or two share one.
std::vector<std::size_t> waveOrder(const Labels& labels);

enum class Container : std::uint8_t { Wav, Raw };

class SoundFile {
 public:
  /// failure() says afterwards whether the path can be written.
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

  /// Brings the header up to date, for a reader and for whoever finds the file after a crash; fails
  /// when the file is no longer there.
  void check();

  /// Completes the file, which then takes its place at the path. Without any frames it leaves the
  /// path as it was; after a failure too, and the frames stay in the part file.
  void finish();

  AudioDevices::Failure failure() const;  // [any-thread]

 private:
  void fail(const std::string& what, const std::string& reason, std::string remedy);
  void closeSound();
  std::string rest() const;

  struct Close {
    void operator()(sf_private_tag* file) const;
  };
  const std::string m_path;
  const Container m_container;
  OutputFile m_output;
  bool m_hasFrames = false;
  std::uint16_t m_plainTag = 0;  // of a header without speakers; 0: they have to be named
  std::unique_ptr<sf_private_tag, Close> m_file;

  mutable std::mutex m_failureLock;
  AudioDevices::Failure m_failure;  // guarded by m_failureLock
};

}  // namespace Platform
