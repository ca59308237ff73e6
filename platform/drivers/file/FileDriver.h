// SPDX-License-Identifier: MIT

#pragma once

/// A file as a device: PCM in a WAV file, or AC-3 bursts, raw or in a WAV file. The content is
/// settled at the first start; until then the driver adopts the PCM format it is offered, unless
/// the format was set; a layout that was set keeps its channels. Bursts are validated, and written
/// as the 16-bit stereo frames that carry them.

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/driver/CycleTimer.h"
#include "platform/driver/DriverFormat.h"
#include "platform/drivers/file/SoundFile.h"
#include "platform/iec61937/BurstValidator.h"

namespace Platform {

class FileDriver final : public Driver {
 public:
  FileDriver(const std::string& path, const AudioDevices::AttachOptions& options);
  ~FileDriver() override;

  DriverDescription describe() const override;
  OSStatus setFormat(std::size_t stream, const AudioStreamBasicDescription& format,
                     bool running) override;
  OSStatus setLayout(const Labels& labels, bool running) override;
  OSStatus negotiateFormat(const PcmFormat& format, bool running) override;
  OSStatus start(CycleSource& source) override;
  void stop() override { m_clock.stop(); }
  void deliver(const AudioBufferList& buffers, std::uint32_t frames, bool silent) override;
  void trimEnd(std::uint32_t frames) override;
  void finish() override;
  AudioDevices::Failure failure() const override;
  std::uint64_t framesWritten() const override { return m_framesWritten.load(); }
  AudioDevices::BurstReport burstReport() const override;

 private:
  struct Content {
    PcmFormat frames;
    bool bursts;
  };
  bool isRaw() const { return m_file.container() == Container::Raw; }
  bool canHoldPcm() const;
  bool canHoldBursts(std::uint32_t rate) const;
  OSStatus setBursts(const AudioStreamBasicDescription& format);
  OSStatus setPcm(const PcmFormat& format, bool running);
  OSStatus refusePcm();

  void begin();
  void stage(const std::byte* frames, std::uint32_t frameCount);
  void afterCycle();
  void flush(std::size_t bytes);
  void writeSilence(std::uint64_t frames);

  const bool m_offersBursts;

  // Changed between cycles only, by the device's caller
  DriverFormat m_format;
  Labels m_labels = usualLabels(2);
  bool m_layoutIsSet = false;
  std::optional<Content> m_content;  // settled by the first start
  std::vector<std::size_t> m_order;  // device channel of each file channel

  // Guarded by m_fileLock: the clock's thread, and finish(), which does not join it at process exit
  mutable std::mutex m_fileLock;
  SoundFile m_file;
  BurstValidator m_validator;
  std::vector<std::byte> m_staged;   // whole frames in file order, reserved beforehand
  std::size_t m_lastBytes = 0;       // of the last cycle with sound, at the end of m_staged
  std::uint64_t m_silentFrames = 0;  // since the last sound; written only if more follows
  std::uint64_t m_gapFrames = 0;     // of silence to write before the last cycle
  std::uint64_t m_framesSinceCheck = 0;

  std::atomic<std::uint64_t> m_framesWritten{0};  // including staged ones; read independently
  std::atomic<bool> m_pcmRefused{false};          // permanently
  CycleTimer m_clock;                             // last: its thread uses all other members
};

}  // namespace Platform
