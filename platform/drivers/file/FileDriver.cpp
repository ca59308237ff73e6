// SPDX-License-Identifier: MIT

#include "platform/drivers/file/FileDriver.h"

#include <boost/algorithm/string/predicate.hpp>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "platform/drivers/file/WaveSpeakers.h"

namespace Platform {
namespace {

constexpr std::uint32_t kMaxFileChannels = 8;
constexpr AudioValueRange kRates{.mMinimum = 1000, .mMaximum = 768000};
constexpr std::string_view kRawSuffix = ".spdif";

bool isRawName(const std::string& path) { return boost::algorithm::iends_with(path, kRawSuffix); }

bool isFileFormat(const PcmFormat& format) {
  return format.sample == backendSample(format.sample) && format.channels <= kMaxFileChannels;
}

/// Returns the PCM formats to offer: `current` alone, or all that a file can hold at its rate.
std::vector<PcmFormat> pcmFormats(const PcmFormat& current, bool isSettled) {
  if (isSettled) {
    return {current};
  }
  std::vector<PcmFormat> formats;
  for (const SampleType type : kBackendTypes) {
    for (std::uint32_t channels = 1; channels <= kMaxFileChannels; ++channels) {
      formats.push_back({.sample = {.type = type}, .channels = channels, .rate = current.rate});
    }
  }
  return formats;
}

}  // namespace

FileDriver::FileDriver(const std::string& path, const AudioDevices::AttachOptions& options)
    : m_offersBursts(options.offersBursts || isRawName(path)),
      m_file(path, isRawName(path) ? Container::Raw : Container::Wav),
      m_clock(
          "file device", [this] { afterCycle(); }, options.clockPpm) {}

FileDriver::~FileDriver() { m_clock.stop(); }

DriverDescription FileDriver::describe() const {
  std::vector<AudioStreamRangedDescription> available;
  for (const PcmFormat& format : pcmFormats(m_format.pcm(), isRaw() || m_content)) {
    available.push_back({.mFormat = describePcm(format), .mSampleRateRange = kRates});
  }
  std::vector<std::uint32_t> burstRates;
  std::ranges::copy_if(kBurstRates, std::back_inserter(burstRates),
                       [this](std::uint32_t rate) { return canHoldBursts(rate); });
  return {.streams = {m_format.stream(std::move(available), burstRates)}, .labels = m_labels};
}

bool FileDriver::canHoldPcm() const { return !isRaw() && (!m_content || !m_content->bursts); }

/// A WAV file has one rate; raw bursts each state their own.
bool FileDriver::canHoldBursts(std::uint32_t rate) const {
  return m_offersBursts &&
         (!m_content || (m_content->bursts && (isRaw() || m_content->frames.rate == rate)));
}

OSStatus FileDriver::setFormat(std::size_t /*stream*/, const AudioStreamBasicDescription& format,
                               bool running) {
  if (isBurstFormat(format)) {
    return setBursts(format);
  }
  const auto wanted = parsePcm(format);
  if (!wanted || !isFileFormat(*wanted)) {
    return kAudioDeviceUnsupportedFormatError;
  }
  return setPcm(*wanted, running);
}

OSStatus FileDriver::setBursts(const AudioStreamBasicDescription& format) {
  const auto rate = burstRateOf(format);
  if (!m_offersBursts || !rate) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (!canHoldBursts(*rate)) {
    return kAudioHardwareIllegalOperationError;
  }
  m_format.setBursts(*rate);
  return noErr;
}

/// Returning from bursts to the former PCM format is possible except while they play.
OSStatus FileDriver::setPcm(const PcmFormat& format, bool running) {
  const bool isFormer = format == m_format.pcm();
  if (isRaw() && !isFormer) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if ((running || m_content) && (!isFormer || (running && m_format.burstRate()))) {
    return kAudioHardwareIllegalOperationError;
  }
  if (format.channels != m_format.pcm().channels) {
    m_labels = usualLabels(format.channels);
  }
  m_format.setPcm(format);
  return noErr;
}

OSStatus FileDriver::setLayout(const Labels& labels, bool running) {
  if (labels.empty() || labels.size() > kMaxFileChannels || waveOrder(labels).empty()) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (running || m_content || isRaw()) {
    return labels == m_labels ? OSStatus{noErr} : OSStatus{kAudioHardwareIllegalOperationError};
  }
  m_labels = labels;
  PcmFormat pcm = m_format.pcm();
  pcm.channels = static_cast<std::uint32_t>(labels.size());
  m_format.adopt(pcm);
  m_layoutIsSet = true;
  return noErr;
}

OSStatus FileDriver::negotiateFormat(const PcmFormat& format, bool running) {
  if (m_format.burstRate() || !canHoldPcm()) {
    return refusePcm();
  }
  if (running || m_content || m_format.isSet()) {
    return noErr;
  }
  PcmFormat pcm{.sample = backendSample(format.sample),
                .channels = m_format.pcm().channels,
                .rate = format.rate};
  if (!m_layoutIsSet) {
    pcm.channels = std::min(format.channels, kMaxFileChannels);
    m_labels = usualLabels(pcm.channels);
  }
  m_format.adopt(pcm);
  return noErr;
}

OSStatus FileDriver::refusePcm() {
  m_pcmRefused.store(true);
  return kAudioDeviceUnsupportedFormatError;
}

AudioDevices::Failure FileDriver::failure() const {
  if (auto failed = fileForAll().failure()) {
    return failed;
  }
  if (!m_pcmRefused.load()) {
    return {};
  }
  return {.status = kAudioDeviceUnsupportedFormatError,
          .message = "'" + fileForAll().path() +
                     "' is for AC-3 bursts only. Play PCM to a separate .wav file."};
}

AudioDevices::BurstReport FileDriver::burstReport() const {
  const Tavro::Lock lock(m_fileLock);
  return m_validator.report();
}

OSStatus FileDriver::start(CycleSource& source) {
  if (!m_format.burstRate() && !canHoldPcm()) {
    return refusePcm();
  }
  begin();
  if (const auto failed = fileForAll().failure()) {
    return failed.status;
  }
  m_clock.start(source);
  return noErr;
}

void FileDriver::begin() {
  if (m_content) {
    return;
  }
  const bool bursts = m_format.burstRate().has_value();
  m_content = {.frames = m_format.frames(), .bursts = bursts};
  const Tavro::Lock lock(m_fileLock);
  m_file.begin(m_content->frames, bursts ? usualLabels(kBurstChannels) : m_labels, kBurstFrames);
}

void FileDriver::deliver(const AudioBufferList& buffers, std::uint32_t frames, bool silent) {
  const Tavro::Lock lock(m_fileLock);
  const auto* memory = static_cast<const std::byte*>(buffers.mBuffers[0].mData);
  if (const auto rate = m_format.burstRate()) {
    const Burst burst(reinterpret_cast<const std::uint8_t*>(memory), kBurstBytes);
    silent = !m_validator.take(burst, *rate);
  }
  if (silent) {
    m_file.stageSilence(frames);
  } else {
    m_file.stage(memory, frames);
  }
}

void FileDriver::afterCycle() {
  const Tavro::Lock lock(m_fileLock);
  m_file.writeStaged();
}

void FileDriver::trimEnd(std::uint32_t frames) {
  const Tavro::Lock lock(m_fileLock);
  m_file.trimEnd(frames);
}

void FileDriver::finish() {
  const Tavro::Lock lock(m_fileLock);
  m_file.finish();
}

}  // namespace Platform
