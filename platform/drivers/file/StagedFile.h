// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/drivers/file/SoundFile.h"

namespace Platform {

/// Sound on its way into a file: staged inside a cycle, written after it. Silence is written only
/// between sounds, and the end of the last sound can still be trimmed. Callers must serialize their
/// calls.
class StagedFile {
 public:
  StagedFile(const std::string& path, Container container) : m_file(path, container) {}

  const std::string& path() const { return m_file.path(); }   // [any-thread]
  Container container() const { return m_file.container(); }  // [any-thread]

  /// Settles the format, with the label of each device channel, and reserves memory for cycles of
  /// up to `mostFrames`. Call once.
  void begin(const PcmFormat& format, const Labels& labels, std::uint32_t mostFrames);

  /// Take a cycle's frames, with the channels in device order, or its silence. [io-thread]
  void stage(const std::byte* frames, std::uint32_t frameCount);
  void stageSilence(std::uint32_t frameCount);

  /// Writes the staged frames if they fill a chunk, or if silence begins or ends. After a cycle.
  void writeStaged();
  /// Removes up to `frames` frames from the end of the last cycle with sound.
  void trimEnd(std::uint32_t frames);
  /// Writes the rest and completes the file.
  void finish();

  std::uint64_t framesWritten() const { return m_framesWritten.load(); }  // [any-thread]
  AudioDevices::Failure failure() const { return m_file.failure(); }      // [any-thread]

 private:
  void flush(std::size_t bytes);
  void writeSilence(std::uint64_t frames);

  SoundFile m_file;
  std::optional<PcmFormat> m_format;  // once it has begun
  std::vector<std::size_t> m_order;   // device channel of each file channel

  std::vector<std::byte> m_staged;   // whole frames in file order, reserved beforehand
  std::size_t m_lastBytes = 0;       // of the last cycle with sound, at the end of m_staged
  std::uint64_t m_silentFrames = 0;  // since the last sound; written only if more follows
  std::uint64_t m_gapFrames = 0;     // of silence to write before the last cycle
  std::uint64_t m_framesSinceCheck = 0;
  std::atomic<std::uint64_t> m_framesWritten{0};  // including staged ones; read independently
};

}  // namespace Platform
