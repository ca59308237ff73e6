// SPDX-License-Identifier: MIT

#include "platform/driver/DriverFormat.h"

#include <utility>

#include "platform/iec61937/BurstFormat.h"

namespace Platform {

PcmFormat DriverFormat::frames() const { return m_burstRate ? carrierOf(*m_burstRate) : m_pcm; }

std::uint32_t DriverFormat::cycleFrames() const {
  return m_burstRate ? kBurstFrames : cycleFramesAt(m_pcm.rate);
}

AudioStreamBasicDescription DriverFormat::description() const {
  return m_burstRate ? describeBursts(*m_burstRate) : describePcm(m_pcm);
}

DriverStream DriverFormat::stream(std::vector<AudioStreamRangedDescription> available,
                                  std::span<const std::uint32_t> burstRates) const {
  for (const std::uint32_t rate : burstRates) {
    available.push_back(atItsRate(describeBursts(rate)));
  }
  return {.format = description(), .available = std::move(available)};
}

void DriverFormat::setPcm(const PcmFormat& pcm) {
  const bool isReturn = std::exchange(m_burstRate, std::nullopt) && pcm == m_pcm;
  m_isSet = m_isSet || !isReturn;
  m_pcm = pcm;
}

OSStatus DriverFormat::set(const AudioStreamBasicDescription& format, bool isOffered,
                           bool running) {
  if (isSame(format, description())) {
    return noErr;
  }
  const auto rate = burstRateOf(format);
  const auto pcm = parsePcm(format);
  if (!isOffered || (!rate && !pcm)) {
    return kAudioDeviceUnsupportedFormatError;
  }
  if (running) {
    return kAudioHardwareIllegalOperationError;
  }
  if (rate) {
    setBursts(*rate);
  } else {
    setPcm(*pcm);
  }
  return noErr;
}

}  // namespace Platform
