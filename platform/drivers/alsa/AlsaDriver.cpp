// SPDX-License-Identifier: MIT

#include "platform/drivers/alsa/AlsaDriver.h"

#include <algorithm>
#include <iterator>
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
      m_format(nearest(m_abilities, kUsual)),
      m_figures(std::make_shared<AlsaStats>()) {
  m_figures->latencyFrames.store(AlsaStream::bufferFrames(plan()));
}

std::vector<std::uint32_t> AlsaDriver::burstRates() const {
  std::vector<std::uint32_t> rates;
  if (m_name.starts_with("iec958") || m_name.starts_with("hdmi")) {
    std::ranges::copy_if(kBurstRates, std::back_inserter(rates), [this](std::uint32_t rate) {
      return canTake(m_abilities, carrierOf(rate));
    });
  }
  return rates;
}

DriverDescription AlsaDriver::describe() const {
  const PcmFormat& pcm = m_format.pcm();
  std::vector<AudioStreamRangedDescription> available;
  for (const Ability& each : m_abilities) {
    const PcmFormat format{
        .sample = {.type = each.type}, .channels = each.channels, .rate = each.nearest(pcm.rate)};
    available.push_back({.mFormat = describePcm(format),
                         .mSampleRateRange = {static_cast<Float64>(each.rates.front()),
                                              static_cast<Float64>(each.rates.back())}});
  }
  return {.streams = {m_format.stream(std::move(available), burstRates())},
          .labels = labelsOf(inLayersOrder(positionsOf(m_maps, pcm.channels))),
          .cycleFrames = m_format.cycleFrames()};
}

OSStatus AlsaDriver::setFormat(std::size_t /*stream*/, const AudioStreamBasicDescription& format,
                               bool running) {
  const auto burstRate = burstRateOf(format);
  const auto pcm = parsePcm(format);
  const auto rates = burstRates();
  const bool isOffered = burstRate ? std::ranges::find(rates, *burstRate) != rates.end()
                                   : pcm && canTake(m_abilities, *pcm);
  return m_format.set(format, isOffered, running);
}

OSStatus AlsaDriver::negotiateFormat(const PcmFormat& format, bool running) {
  if (m_format.burstRate()) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (!running && !m_format.isSet()) {
    m_format.adopt(nearest(m_abilities, format));
  }
  return noErr;
}

AlsaConfig AlsaDriver::plan() const {
  const PcmSetup setup{.format = m_format.frames(), .cycleFrames = m_format.cycleFrames()};
  if (const auto rate = m_format.burstRate()) {
    return {
        .name = withBurstStatus(m_name, *rate), .setup = setup, .positions = {}, .exactly = true};
  }
  return {
      .name = m_name, .setup = setup, .positions = positionsOf(m_maps, m_format.pcm().channels)};
}

/// Callers often ignore the status of a unit's start, so failure() keeps the reason. Burst clients
/// check the status and may fall back to PCM.
OSStatus AlsaDriver::start(CycleSource& source) {
  const AudioDevices::Failure failure = open(source);
  if (failure && !m_format.burstRate()) {
    noteFailure(failure);
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
  } else {
    noteFailure({});
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

void AlsaDriver::noteFailure(const AudioDevices::Failure& failure) {
  const Tavro::Lock lock(m_failureLock);
  m_failure = failure;
}

AudioDevices::Failure AlsaDriver::failure() const {
  const Tavro::Lock lock(m_failureLock);
  return m_failure;
}

}  // namespace Platform
