// SPDX-License-Identifier: MIT

#include "platform/drivers/pulse/PulseDriver.h"

#include <algorithm>
#include <utility>

#include "platform/iec61937/BurstFormat.h"

namespace Platform {
namespace {

/// Returns how the server takes such samples: little-endian, at least 16 bits.
SampleFormat serverSample(SampleFormat sample) {
  return {.type = sample.type == SampleType::S8 ? SampleType::S16 : sample.type,
          .bigEndian = false};
}

AudioStreamRangedDescription ranged(const AudioStreamBasicDescription& format) {
  return {.mFormat = format, .mSampleRateRange = {format.mSampleRate, format.mSampleRate}};
}

}  // namespace

PulseDriver::PulseDriver(std::shared_ptr<PulseConnection> connection, const Sink& sink)
    : m_connection(std::move(connection)), m_sink(sink) {
  adaptToSink();
}

void PulseDriver::update(const Sink& sink, bool running) {
  m_sink = sink;
  if (!running) {
    adaptToSink();
  }
}

void PulseDriver::adaptToSink() {
  m_pcm.channels = static_cast<std::uint32_t>(m_sink.positions.size());
  m_pcm.rate = m_sink.rate;
  m_figures.latencyFrames.store(PulseStream::bufferFrames(plan()));
}

bool PulseDriver::streamEndedBy(std::uint64_t generation) const {
  const std::uint64_t endedAt = m_figures.endedAt.load();
  return endedAt != 0 && endedAt <= generation;
}

DriverDescription PulseDriver::describe() const {
  DriverStream stream{.format = m_burstRate ? describeBursts(*m_burstRate) : describePcm(m_pcm),
                      .available = {}};
  for (const SampleType type :
       {SampleType::S16, SampleType::S24, SampleType::S32, SampleType::F32}) {
    PcmFormat offered = m_pcm;
    offered.sample = {.type = type};
    stream.available.push_back(ranged(describePcm(offered)));
  }
  for (const std::uint32_t rate : m_sink.burstRates) {
    stream.available.push_back(ranged(describeBursts(rate)));
  }
  return {.streams = {std::move(stream)},
          .labels = m_sink.labels,
          .cycleFrames = cycleFramesAt(m_pcm.rate),
          .nominalRate = static_cast<double>(m_sink.rate)};
}

/// A former format can be restored whatever the sink's rate is now.
OSStatus PulseDriver::setFormat(std::size_t /*stream*/, const AudioStreamBasicDescription& format,
                                bool running) {
  const DriverDescription present = describe();
  if (isSame(format, present.streams.front().format)) {
    return noErr;
  }
  const bool offered = std::ranges::any_of(
      present.streams.front().available,
      [&](const AudioStreamRangedDescription& each) { return isSame(each.mFormat, format); });
  if (!offered) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (running) {
    return kAudioHardwareIllegalOperationError;
  }
  if (isBurstFormat(format)) {
    m_burstRate = static_cast<std::uint32_t>(format.mSampleRate);
    return noErr;
  }
  const PcmFormat wanted = *parsePcm(format);
  const bool isReturn = std::exchange(m_burstRate, std::nullopt) && wanted == m_pcm;
  m_formatIsSet = m_formatIsSet || !isReturn;
  m_pcm = wanted;
  return noErr;
}

OSStatus PulseDriver::negotiateFormat(const PcmFormat& format, bool running) {
  if (m_burstRate) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (!running) {
    adaptToSink();
    m_pcm.sample = m_formatIsSet ? m_pcm.sample : serverSample(format.sample);
  }
  return noErr;
}

StreamConfig PulseDriver::plan() const {
  if (!m_burstRate) {
    return {.sink = m_sink.name,
            .spec = sampleSpecOf(m_pcm),
            .map = channelMapOf(m_sink),
            .bursts = false,
            .cycleFrames = cycleFramesAt(m_pcm.rate)};
  }
  return {.sink = m_sink.name,
          .spec = {.format = PA_SAMPLE_S16LE, .rate = *m_burstRate, .channels = 2},
          .map = {},
          .bursts = true,
          .cycleFrames = kBurstFrames};
}

void PulseDriver::makeStream(CycleSource& source) {
  StreamListener& listener = *this;
  m_stream = std::make_unique<PulseStream>(m_connection, plan(), source, m_figures, listener);
}

/// Burst clients wait for the server's reply, as they may fall back to PCM.
OSStatus PulseDriver::start(CycleSource& source) {
  makeStream(source);
  const OSStatus status = m_burstRate ? m_stream->openAndWait() : m_stream->open();
  if (status != noErr) {
    stop();
  }
  return status;
}

/// Does not restore the sink's rate after bursts, as they continue.
void PulseDriver::restart(CycleSource& source) {
  if (m_stream) {
    m_stream->close();
    m_stream.reset();
  }
  makeStream(source);
  m_stream->open();
}

void PulseDriver::begun() {
  const std::lock_guard lock(m_failureLock);
  m_failure = {};
}

void PulseDriver::refused(const AudioDevices::Failure& failure) {
  const std::lock_guard lock(m_failureLock);
  m_failure = failure;
}

void PulseDriver::stop() {
  if (m_stream) {
    m_stream->close();  // a cycle may use it until then
    m_stream.reset();
    if (m_burstRate && *m_burstRate != m_pcm.rate) {
      bringBackRate(*m_connection, m_sink.name, sampleSpecOf(m_pcm), channelMapOf(m_sink));
      m_sink.rate = m_pcm.rate;  // before the server reports it
    }
  }
}

void PulseDriver::deliver(const AudioBufferList& buffers, std::uint32_t /*frames*/,
                          bool /*silent*/) {
  m_stream->write(buffers.mBuffers[0].mData, buffers.mBuffers[0].mDataByteSize);
}

AudioDevices::Failure PulseDriver::failure() const {
  const std::lock_guard lock(m_failureLock);
  return m_failure;
}

}  // namespace Platform
