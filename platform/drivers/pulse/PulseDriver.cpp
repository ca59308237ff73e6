// SPDX-License-Identifier: MIT

#include "platform/drivers/pulse/PulseDriver.h"

#include <algorithm>
#include <utility>

namespace Platform {
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
  PcmFormat pcm = m_format.pcm();
  pcm.channels = static_cast<std::uint32_t>(m_sink.positions.size());
  pcm.rate = m_sink.rate;
  m_format.adopt(pcm);
  m_figures.latencyFrames.store(plan().bufferFrames());
}

bool PulseDriver::streamEndedBy(std::uint64_t generation) const {
  const std::uint64_t endedAt = m_figures.endedAt.load();
  return endedAt != 0 && endedAt <= generation;
}

DriverDescription PulseDriver::describe() const {
  std::vector<AudioStreamRangedDescription> available;
  for (const SampleType type : kBackendTypes) {
    PcmFormat offered = m_format.pcm();
    offered.sample = {.type = type};
    available.push_back(atItsRate(describePcm(offered)));
  }
  return {.streams = {m_format.stream(std::move(available), m_sink.burstRates)},
          .labels = m_sink.labels,
          .cycleFrames = m_format.cycleFrames(),
          .nominalRate = static_cast<double>(m_sink.rate)};
}

/// A former format can be restored whatever the sink's rate is now.
OSStatus PulseDriver::setFormat(std::size_t /*stream*/, const AudioStreamBasicDescription& format,
                                bool running) {
  const DriverStream present = describe().streams.front();
  const bool isOffered = std::ranges::any_of(
      present.available, [&](const auto& each) { return isSame(each.mFormat, format); });
  return m_format.set(format, isOffered, running);
}

OSStatus PulseDriver::negotiateFormat(const PcmFormat& format, bool running) {
  if (m_format.burstRate()) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (!running) {
    adaptToSink();
    if (!m_format.isSet()) {
      PcmFormat pcm = m_format.pcm();
      pcm.sample = backendSample(format.sample);
      m_format.adopt(pcm);
    }
  }
  return noErr;
}

StreamConfig PulseDriver::plan() const {
  const bool bursts = m_format.burstRate().has_value();
  return {.sink = m_sink.name,
          .spec = sampleSpecOf(m_format.frames()),
          .map = bursts ? pa_channel_map{} : channelMapOf(m_sink),
          .bursts = bursts,
          .cycleFrames = m_format.cycleFrames()};
}

void PulseDriver::makeStream(CycleSource& source) {
  StreamListener& listener = *this;
  m_stream = std::make_unique<PulseStream>(m_connection, plan(), source, m_figures, listener);
}

/// Burst clients wait for the server's reply, as they may fall back to PCM.
OSStatus PulseDriver::start(CycleSource& source) {
  makeStream(source);
  const OSStatus status = m_format.burstRate() ? m_stream->openAndWait() : m_stream->open();
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
  const Tavro::Lock lock(m_failureLock);
  m_failure = {};
}

void PulseDriver::refused(const AudioDevices::Failure& failure) {
  const Tavro::Lock lock(m_failureLock);
  m_failure = failure;
}

void PulseDriver::stop() {
  if (m_stream) {
    m_stream->close();  // a cycle may use it until then
    m_stream.reset();
    const PcmFormat& pcm = m_format.pcm();
    if (m_format.burstRate().value_or(pcm.rate) != pcm.rate) {
      bringBackRate(*m_connection, m_sink.name, sampleSpecOf(pcm), channelMapOf(m_sink));
      m_sink.rate = pcm.rate;  // before the server reports it
    }
  }
}

void PulseDriver::deliver(const AudioBufferList& buffers, std::uint32_t /*frames*/,
                          bool /*silent*/) {
  m_stream->write(buffers.mBuffers[0].mData, buffers.mBuffers[0].mDataByteSize);
}

AudioDevices::Failure PulseDriver::failure() const {
  const Tavro::Lock lock(m_failureLock);
  return m_failure;
}

}  // namespace Platform
