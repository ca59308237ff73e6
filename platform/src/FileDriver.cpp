#include "FileDriver.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#include "CopySamples.h"

namespace Platform {
namespace {

constexpr std::uint32_t kMaxFileChannels = 8;
constexpr std::size_t kChunkBytes = std::size_t{64} * 1024;
constexpr AudioValueRange kRates{.mMinimum = 1000, .mMaximum = 768000};

/// What a file holds of such samples: little-endian, 16 bits at least.
SampleFormat fileSample(SampleFormat sample) {
  return {.type = sample.type == SampleType::S8 ? SampleType::S16 : sample.type,
          .bigEndian = false};
}

bool isFileFormat(const PcmFormat& format) {
  return format.sample == fileSample(format.sample) && format.channels <= kMaxFileChannels;
}

}  // namespace

FileDriver::FileDriver(const std::string& path)
    : m_file(path), m_clock("file device", [this] { afterCycle(); }) {}

FileDriver::~FileDriver() { m_clock.stop(); }

DriverDescription FileDriver::describe() const {
  DriverStream stream{.format = describePcm(m_format), .available = {}};
  for (const SampleType type :
       {SampleType::S16, SampleType::S24, SampleType::S32, SampleType::F32}) {
    for (std::uint32_t channels = 1; channels <= kMaxFileChannels; ++channels) {
      const PcmFormat format{.sample = {.type = type}, .channels = channels, .rate = m_format.rate};
      stream.available.push_back({.mFormat = describePcm(format), .mSampleRateRange = kRates});
    }
  }
  return {.streams = {std::move(stream)}, .labels = m_labels};
}

OSStatus FileDriver::setFormat(std::size_t /*stream*/, const AudioStreamBasicDescription& format,
                               bool running) {
  const auto wanted = parsePcm(format);
  if (!wanted || !isFileFormat(*wanted)) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (running || m_begun) {
    return *wanted == m_format ? OSStatus{noErr} : OSStatus{kAudioHardwareIllegalOperationError};
  }
  if (wanted->channels != m_format.channels) {
    m_labels = usualLabels(wanted->channels);
  }
  m_format = *wanted;
  m_formatIsSet = true;
  return noErr;
}

OSStatus FileDriver::setLayout(const Labels& labels, bool running) {
  if (labels.empty() || labels.size() > kMaxFileChannels || waveOrder(labels).empty()) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (running || m_begun) {
    return labels == m_labels ? OSStatus{noErr} : OSStatus{kAudioHardwareIllegalOperationError};
  }
  m_labels = labels;
  m_format.channels = static_cast<std::uint32_t>(labels.size());
  m_layoutIsSet = true;
  return noErr;
}

void FileDriver::offerFormat(const PcmFormat& format) {
  if (m_begun || m_formatIsSet) {
    return;
  }
  m_format.sample = fileSample(format.sample);
  m_format.rate = format.rate;
  if (!m_layoutIsSet) {
    m_format.channels = std::min(format.channels, kMaxFileChannels);
    m_labels = usualLabels(m_format.channels);
  }
}

OSStatus FileDriver::start(CycleSource& source) {
  begin();
  if (const auto failed = failure()) {
    return failed.status;
  }
  m_clock.start(source);
  return noErr;
}

/// The file's format is settled with the first start.
void FileDriver::begin() {
  if (std::exchange(m_begun, true)) {
    return;
  }
  const std::lock_guard lock(m_fileLock);
  m_order = waveOrder(m_labels);
  m_staged.reserve(kChunkBytes + std::size_t{kBurstFrames} * m_format.bytesPerFrame());
  m_file.begin(m_format, m_labels);
}

void FileDriver::deliver(const AudioBufferList& buffers, std::uint32_t frames, bool silent) {
  const std::lock_guard lock(m_fileLock);
  m_framesSinceCheck += frames;
  if (silent) {
    m_silentFrames += frames;
    return;
  }
  const std::uint64_t gap = m_framesWritten.load() == 0 ? 0 : m_silentFrames;
  m_silentFrames = 0;
  m_gapFrames = gap;
  stage(static_cast<const std::byte*>(buffers.mBuffers[0].mData), frames);
  m_framesWritten += gap + frames;
}

void FileDriver::stage(const std::byte* frames, std::uint32_t frameCount) {
  const std::size_t sampleBytes = m_format.sample.bytes();
  const std::size_t frameBytes = m_format.bytesPerFrame();
  const std::size_t begin = m_staged.size();
  m_staged.resize(begin + frameCount * frameBytes);
  std::byte* out = m_staged.data() + begin;
  if (std::ranges::is_sorted(m_order)) {
    std::memcpy(out, frames, frameCount * frameBytes);
    return;
  }
  for (std::size_t channel = 0; channel < m_order.size(); ++channel) {
    copyChannel(sampleBytes, frames + m_order[channel] * sampleBytes, frameBytes,
                out + channel * sampleBytes, frameBytes, frameCount);
  }
}

/// Writes what has gathered: a chunk, or all of it when silence begins, so that a gap always lies
/// before what is staged.
void FileDriver::afterCycle() {
  const std::lock_guard lock(m_fileLock);
  if (m_staged.size() >= kChunkBytes || m_silentFrames != 0 || m_gapFrames != 0) {
    flush();
  }
  if (m_framesSinceCheck >= m_format.rate) {
    m_framesSinceCheck = 0;
    m_file.checkPath();
  }
}

void FileDriver::flush() {
  writeSilence(std::exchange(m_gapFrames, 0));
  m_file.write(m_staged);
  m_staged.clear();
}

void FileDriver::writeSilence(std::uint64_t frames) {
  static constexpr std::array<std::byte, kChunkBytes> zeros{};
  std::uint64_t bytesLeft = frames * m_format.bytesPerFrame();
  const std::uint64_t piece = zeros.size() / m_format.bytesPerFrame() * m_format.bytesPerFrame();
  while (bytesLeft != 0 && !m_file.failure()) {
    const auto count = static_cast<std::size_t>(std::min(bytesLeft, piece));
    m_file.write({zeros.data(), count});
    bytesLeft -= count;
  }
}

void FileDriver::finish() {
  const std::lock_guard lock(m_fileLock);
  flush();
  m_file.finish();
}

}  // namespace Platform
