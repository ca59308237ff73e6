// SPDX-License-Identifier: MIT

#include "platform/drivers/alsa/AlsaDriver.h"

#include <algorithm>
#include <utility>

#include "platform/iec61937/BurstFormat.h"

namespace Platform {
namespace {

constexpr PcmFormat kUsual{.sample = {.type = SampleType::S16}, .channels = 8, .rate = 48000};

}  // namespace

AlsaDriver::AlsaDriver(std::string name, PcmCapabilities abilities, std::vector<Positions> maps,
                       AlsaLoss onLoss)
    : m_name(std::move(name)),
      m_abilities(std::move(abilities)),
      m_maps(std::move(maps)),
      m_onLoss(std::move(onLoss)),
      m_pcm(nearest(m_abilities, kUsual)),
      m_figures(std::make_shared<AlsaStats>()) {
  m_figures->latencyFrames.store(AlsaStream::bufferFrames(plan()));
}

bool AlsaDriver::offersBursts(std::uint32_t rate) const {
  return (m_name.starts_with("iec958") || m_name.starts_with("hdmi")) &&
         canTake(m_abilities, carrierOf(rate));
}

DriverDescription AlsaDriver::describe() const {
  DriverStream stream{.format = m_burstRate ? describeBursts(*m_burstRate) : describePcm(m_pcm),
                      .available = {}};
  for (const Ability& each : m_abilities) {
    const PcmFormat format{
        .sample = {.type = each.type}, .channels = each.channels, .rate = each.nearest(m_pcm.rate)};
    stream.available.push_back({.mFormat = describePcm(format),
                                .mSampleRateRange = {static_cast<Float64>(each.rates.front()),
                                                     static_cast<Float64>(each.rates.back())}});
  }
  for (const std::uint32_t rate : kBurstRates) {
    if (offersBursts(rate)) {
      const auto exactly = static_cast<Float64>(rate);
      stream.available.push_back(
          {.mFormat = describeBursts(rate), .mSampleRateRange = {exactly, exactly}});
    }
  }
  return {.streams = {std::move(stream)},
          .labels = labelsOf(inLayersOrder(positionsOf(m_maps, m_pcm.channels))),
          .cycleFrames = cycleFramesAt(m_pcm.rate)};
}

OSStatus AlsaDriver::setFormat(std::size_t /*stream*/, const AudioStreamBasicDescription& format,
                               bool running) {
  if (isSame(format, describe().streams.front().format)) {
    return noErr;
  }
  const auto burstRate = std::ranges::find_if(kBurstRates, [&](std::uint32_t rate) {
    return offersBursts(rate) && isSame(format, describeBursts(rate));
  });
  const auto wanted = parsePcm(format);
  if (burstRate == kBurstRates.end() && (!wanted || !canTake(m_abilities, *wanted))) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (running) {
    return kAudioHardwareIllegalOperationError;
  }
  if (burstRate != kBurstRates.end()) {
    m_burstRate = *burstRate;
    return noErr;
  }
  const bool isReturn = std::exchange(m_burstRate, std::nullopt) && *wanted == m_pcm;
  m_formatIsSet = m_formatIsSet || !isReturn;
  m_pcm = *wanted;
  return noErr;
}

OSStatus AlsaDriver::negotiateFormat(const PcmFormat& format, bool running) {
  if (m_burstRate) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (!running && !m_formatIsSet) {
    m_pcm = nearest(m_abilities, format);
  }
  return noErr;
}

AlsaConfig AlsaDriver::plan() const {
  if (m_burstRate) {
    return {.name = withBurstStatus(m_name, *m_burstRate),
            .setup = {.format = carrierOf(*m_burstRate), .cycleFrames = kBurstFrames},
            .positions = {},
            .exactly = true};
  }
  return {.name = m_name,
          .setup = {.format = m_pcm, .cycleFrames = cycleFramesAt(m_pcm.rate)},
          .positions = positionsOf(m_maps, m_pcm.channels)};
}

/// Callers often ignore the status of a unit's start, so failure() keeps the reason. Burst clients
/// check the status and may fall back to PCM.
OSStatus AlsaDriver::start(CycleSource& source) {
  const AudioDevices::Failure failure = open(source);
  if (failure && !m_burstRate) {
    const std::lock_guard lock(m_failureLock);
    m_failure = failure;
  }
  return failure.status;
}

/// Its cycles show whether it succeeded.
void AlsaDriver::restart(CycleSource& source) {
  stop();
  open(source);
}

AudioDevices::Failure AlsaDriver::open(CycleSource& source) {
  m_stream = std::make_shared<AlsaStream>(plan(), source, m_figures, m_onLoss);
  const AudioDevices::Failure failure = m_stream->open();
  if (failure) {
    m_stream.reset();
  }
  return failure;
}

void AlsaDriver::stop() {
  if (m_stream) {
    m_stream->close();  // a cycle may use it until then
    m_stream.reset();
  }
}

void AlsaDriver::deliver(const AudioBufferList& buffers, std::uint32_t frames, bool /*silent*/) {
  m_stream->write(static_cast<const std::byte*>(buffers.mBuffers[0].mData), frames);
}

AudioDevices::Failure AlsaDriver::failure() const {
  const std::lock_guard lock(m_failureLock);
  return m_failure;
}

}  // namespace Platform
