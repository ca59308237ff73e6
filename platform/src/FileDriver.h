#pragma once

/// A WAV file as a device. Until it first starts it takes over the format it is offered, unless the
/// format was set; a layout that was set keeps its channels.

#include <atomic>
#include <cstddef>
#include <mutex>
#include <string>
#include <vector>

#include "CycleClock.h"
#include "Driver.h"
#include "WavFile.h"

namespace Platform {

class FileDriver final : public Driver {
 public:
  explicit FileDriver(const std::string& path);
  ~FileDriver() override;

  DriverDescription describe() const override;
  OSStatus setFormat(std::size_t stream, const AudioStreamBasicDescription& format,
                     bool running) override;
  OSStatus setLayout(const Labels& labels, bool running) override;
  void offerFormat(const PcmFormat& format) override;
  OSStatus start(CycleSource& source) override;
  void stop() override { m_clock.stop(); }
  void deliver(const AudioBufferList& buffers, std::uint32_t frames, bool silent) override;
  void finish() override;
  AudioDevices::Failure failure() const override { return m_file.failure(); }
  std::uint64_t framesWritten() const override { return m_framesWritten.load(); }

 private:
  void begin();
  void stage(const std::byte* frames, std::uint32_t frameCount);
  void afterCycle();
  void flush();
  void writeSilence(std::uint64_t frames);

  // Changed between cycles only, by the device's caller
  PcmFormat m_format;
  Labels m_labels = usualLabels(2);
  bool m_formatIsSet = false;
  bool m_layoutIsSet = false;
  bool m_begun = false;
  std::vector<std::size_t> m_order;  // of device channels in the file

  // Guarded by m_fileLock: the clock's thread, and whoever finishes, at exit without joining it
  std::mutex m_fileLock;
  WavFile m_file;
  std::vector<std::byte> m_staged;   // whole frames in file order, room made beforehand
  std::uint64_t m_silentFrames = 0;  // since the last sound; written only when more follows
  std::uint64_t m_gapFrames = 0;     // of silence to write before what is staged
  std::uint64_t m_framesSinceCheck = 0;

  std::atomic<std::uint64_t> m_framesWritten{0};  // staged ones included; each read on its own
  CycleClock m_clock;                             // last: its thread uses all the rest
};

}  // namespace Platform
