// SPDX-License-Identifier: MIT

#pragma once

/// A file as a device: PCM in a WAV file, or AC-3 bursts, raw or in a WAV file. The content is
/// settled at the first start; until then the driver adopts the PCM format it is offered, unless
/// the format was set; a layout that was set keeps its channels. Bursts are validated, and written
/// as the 16-bit stereo frames that carry them.

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "locks/Mutex.h"
#include "platform/driver/CycleTimer.h"
#include "platform/driver/DriverFormat.h"
#include "platform/drivers/file/StagedFile.h"
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
  std::uint64_t framesWritten() const override { return fileForAll().framesWritten(); }
  AudioDevices::BurstReport burstReport() const override;

 private:
  struct Content {
    PcmFormat frames;
    bool bursts;
  };
  /// For what is [any-thread], and therefore not analysed.
  const StagedFile& fileForAll() const TAVRO_NO_ANALYSIS { return m_file; }
  bool isRaw() const { return fileForAll().container() == Container::Raw; }
  bool canHoldPcm() const;
  bool canHoldBursts(std::uint32_t rate) const;
  OSStatus setBursts(const AudioStreamBasicDescription& format);
  OSStatus setPcm(const PcmFormat& format, bool running);
  OSStatus refusePcm();

  void begin();
  void afterCycle();

  const bool m_offersBursts;

  // Changed between cycles only, by the device's caller
  DriverFormat m_format;
  Labels m_labels = usualLabels(2);
  bool m_layoutIsSet = false;
  std::optional<Content> m_content;  // settled by the first start

  // For the clock's thread, and finish(), which does not join it at process exit
  mutable Tavro::Mutex<Tavro::LockRank::SoundFile> m_fileLock;
  StagedFile m_file TAVRO_GUARDED_BY(m_fileLock);
  BurstValidator m_validator TAVRO_GUARDED_BY(m_fileLock);

  std::atomic<bool> m_pcmRefused{false};  // permanently
  CycleTimer m_clock;                     // last: its thread uses all other members
};

}  // namespace Platform
