// SPDX-License-Identifier: MIT

#include "platform/drivers/scripted/ScriptedDriver.h"

#include <algorithm>

namespace Platform {

ScriptedDriver::ScriptedDriver(const AudioDevices::ScriptedSetup& setup)
    : m_clocked(setup.clocked),
      m_cycleFrames(setup.cycleFrames),
      m_latencyFrames(setup.latencyFrames),
      m_captureBytes(setup.captureBytes),
      m_labels(setup.labels),
      m_captured(setup.streams.size()),
      m_clock(
          "scripted device", [] {}, setup.clockPpm) {
  for (const AudioDevices::ScriptedStream& scripted : setup.streams) {
    DriverStream stream{.format = scripted.format, .available = {}};
    stream.available.push_back(atItsRate(scripted.format));
    std::ranges::transform(scripted.available, std::back_inserter(stream.available), atItsRate);
    m_streams.push_back(std::move(stream));
  }
  for (auto& bytes : m_captured) {
    bytes.reserve(m_captureBytes);
  }
}

ScriptedDriver::~ScriptedDriver() { m_clock.stop(); }

std::uint32_t ScriptedDriver::channels() const {
  std::uint32_t count = 0;
  for (const DriverStream& stream : m_streams) {
    count += stream.format.mChannelsPerFrame;
  }
  return count;
}

DriverDescription ScriptedDriver::describe() const {
  return {.streams = m_streams,
          .labels = m_labels.empty() ? usualLabels(channels()) : m_labels,
          .cycleFrames = m_cycleFrames};
}

OSStatus ScriptedDriver::setFormat(std::size_t stream, const AudioStreamBasicDescription& format,
                                   bool /*running*/) {
  const bool offered = std::ranges::any_of(
      m_streams[stream].available, [&](const auto& each) { return isSame(each.mFormat, format); });
  if (!offered) {
    return kAudioDeviceUnsupportedFormatError;
  }
  m_streams[stream].format = format;
  return noErr;
}

OSStatus ScriptedDriver::setLayout(const Labels& labels, bool /*running*/) {
  if (labels.size() != channels()) {
    return kAudioDeviceUnsupportedFormatError;
  }
  m_labels = labels;
  return noErr;
}

OSStatus ScriptedDriver::start(CycleSource& source) {
  if (m_clocked) {
    m_clock.start(source);
  }
  return noErr;
}

void ScriptedDriver::deliver(const AudioBufferList& buffers, std::uint32_t /*frames*/,
                             bool silent) {
  const Tavro::Lock lock(m_playedLock);
  m_last = {.ran = true, .silent = silent, .buffers = {}};
  for (UInt32 i = 0; i < buffers.mNumberBuffers; ++i) {
    const AudioBuffer& buffer = buffers.mBuffers[i];
    const auto* bytes = static_cast<const std::uint8_t*>(buffer.mData);
    const std::size_t count = bytes != nullptr ? buffer.mDataByteSize : 0;
    auto& captured = m_captured[i];
    if (!m_clocked) {
      m_last.buffers.emplace_back(bytes, bytes + count);
    } else if (!silent || !captured.empty()) {
      captured.insert(captured.end(), bytes,
                      bytes + std::min(count, m_captureBytes - captured.size()));
    }
  }
}

void ScriptedDriver::setBufferBytes(std::size_t stream, std::optional<std::uint32_t> bytes) {
  m_streams.at(stream).oddBufferBytes = bytes;
}

void ScriptedDriver::setBufferWithoutMemory(std::size_t stream, bool withoutMemory) {
  m_streams.at(stream).withoutMemory = withoutMemory;
}

AudioDevices::ScriptedDevice::Cycle ScriptedDriver::lastCycle() const {
  const Tavro::Lock lock(m_playedLock);
  return m_last;
}

std::vector<std::uint8_t> ScriptedDriver::captured(std::size_t stream) const {
  const Tavro::Lock lock(m_playedLock);
  return m_captured.at(stream);
}

}  // namespace Platform
