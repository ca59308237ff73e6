// SPDX-License-Identifier: MIT

#include "platform/unit/UnitRenderer.h"

#include <algorithm>
#include <cstring>
#include <functional>
#include <utility>

#include "platform/format/CopySamples.h"
#include "platform/format/SampleConversion.h"
#include "platform/unit/RenderObservation.h"

namespace Platform {

UnitRenderer::UnitRenderer(RenderConfig plan, float gain)
    : m_plan(std::move(plan)), m_silentFrames(UINT64_MAX / 2), m_gain(gain) {
  auto mapped = m_plan.channelMap.begin();
  std::uint32_t widest = 0;
  for (std::size_t i = 0; i < m_plan.streams.size(); ++i) {
    if (const auto& format = m_plan.streams[i]) {
      const auto left = static_cast<std::uint32_t>(m_plan.channelMap.end() - mapped);
      const auto count = static_cast<std::ptrdiff_t>(std::min(left, format->channels));
      Target target{.buffer = i, .format = *format, .map = {mapped, mapped + count}};
      target.map.resize(format->channels, -1);
      mapped += count;
      widest = std::max(widest, format->channels);
      m_targets.push_back(std::move(target));
    }
  }
  std::size_t sourceFrames = m_plan.maxFrames;
  const std::size_t channels = m_plan.source.channels;
  if (m_plan.source.rate != m_plan.deviceRate) {
    m_resampler = makeResampler(m_plan.source.rate, m_plan.deviceRate, m_plan.source.channels,
                                m_plan.maxFrames);
    sourceFrames = m_resampler->maxInputFrames();
    m_resampled.resize(m_plan.maxFrames * channels);
  }
  m_source.resize(sourceFrames * m_plan.source.bytesPerFrame());
  m_wide.resize(sourceFrames * channels);
  m_mapped.resize(std::size_t{m_plan.maxFrames} * widest);
  m_present.resize(m_mapped.size());
}

bool UnitRenderer::render(AudioBufferList& buffers, std::uint32_t frames,
                          const AudioTimeStamp& time, float gain, bool mix) TAVRO_NONBLOCKING {
  frames = std::min(frames, m_plan.maxFrames);
  const std::uint32_t sourceFrames = m_resampler ? m_resampler->inputFor(frames) : frames;
  const bool silentInput = pull(sourceFrames, time);
  if (isQuiet(silentInput, sourceFrames)) {
    if (m_resampler) {
      convertSource(sourceFrames, frames, 0.0F);
    }
    m_gain = gain;
    return true;
  }
  const bool unity = gain == 1.0F && m_gain == 1.0F;
  const double* samples = nullptr;  // made when the first target needs them
  for (const Target& target : m_targets) {
    auto* out = static_cast<std::byte*>(buffers.mBuffers[target.buffer].mData);
    if (out == nullptr ||
        buffers.mBuffers[target.buffer].mDataByteSize < frames * target.format.bytesPerFrame()) {
      continue;
    }
    if (unity && !needsConversion(target, mix)) {
      copyTo(target, out, frames);
      continue;
    }
    if (samples == nullptr) {
      samples = convertSource(sourceFrames, frames, gain);
    }
    packTo(target, samples, out, frames, mix);
  }
  m_gain = gain;
  return m_targets.empty();
}

/// Pulls `frames` frames from the callback, zeroing what it does not provide. Returns true if
/// silent.
bool UnitRenderer::pull(std::uint32_t frames, const AudioTimeStamp& time) TAVRO_NONBLOCKING {
  const std::uint32_t bytes = frames * m_plan.source.bytesPerFrame();
  if (frames == 0) {
    return true;
  }
  AudioBufferList list{};
  list.mNumberBuffers = 1;
  list.mBuffers[0] = {
      .mNumberChannels = m_plan.source.channels, .mDataByteSize = bytes, .mData = m_source.data()};
  AudioUnitRenderActionFlags flags = 0;
  TAVRO_CALLS_OUT(const OSStatus status = m_plan.callback.inputProc(
                      m_plan.callback.inputProcRefCon, &flags, &time, 0, frames, &list);)
  const AudioBuffer& given = list.mBuffers[0];
  const bool silent = status != noErr || given.mData == nullptr || given.mDataByteSize == 0 ||
                      (flags & kAudioUnitRenderAction_OutputIsSilence) != 0;
  reportRender({.device = m_plan.device, .frames = frames, .silent = silent});
  const std::uint32_t kept = silent ? 0 : std::min(bytes, given.mDataByteSize);
  if (kept != 0 && given.mData != m_source.data()) {
    std::memcpy(m_source.data(), given.mData, kept);
  }
  std::memset(m_source.data() + kept, 0, bytes - kept);
  return silent;
}

/// Returns true if the input is silent and no earlier sound is left in the resampler.
bool UnitRenderer::isQuiet(bool silentInput, std::uint32_t sourceFrames) {
  const std::uint64_t before = m_silentFrames;
  m_silentFrames = silentInput ? m_silentFrames + sourceFrames : 0;
  return silentInput && (!m_resampler || before >= m_resampler->memoryFrames());
}

bool UnitRenderer::needsConversion(const Target& target, bool mix) const {
  return mix || m_resampler || target.format.sample != m_plan.source.sample;
}

void UnitRenderer::copyTo(const Target& target, std::byte* out, std::uint32_t frames) const {
  const std::size_t sampleBytes = target.format.sample.bytes();
  for (std::size_t channel = 0; channel < target.map.size(); ++channel) {
    const SInt32 from = target.map[channel];
    if (from < 0 || static_cast<std::uint32_t>(from) >= m_plan.source.channels) {
      continue;
    }
    copyChannel(sampleBytes, m_source.data() + static_cast<std::size_t>(from) * sampleBytes,
                m_plan.source.bytesPerFrame(), out + channel * sampleBytes,
                target.format.bytesPerFrame(), frames);
  }
}

/// Returns the source's channels at the device's rate, with the gain applied.
const double* UnitRenderer::convertSource(std::uint32_t sourceFrames, std::uint32_t frames,
                                          float gain) {
  unpackSamples(m_plan.source.sample, m_source.data(), m_wide.data(),
                std::size_t{sourceFrames} * m_plan.source.channels);
  double* samples = m_wide.data();
  if (m_resampler) {
    m_resampler->convert(m_wide.data(), m_resampled.data(), frames);
    samples = m_resampled.data();
  }
  applyGain(samples, frames, gain);
  return samples;
}

void UnitRenderer::applyGain(double* samples, std::uint32_t frames, float gain) {
  if (gain == 1.0F && m_gain == 1.0F) {
    return;
  }
  const double step = (static_cast<double>(gain) - m_gain) / frames;
  for (std::uint32_t frame = 0; frame < frames; ++frame) {
    const double factor = step == 0.0 ? gain : m_gain + step * (frame + 1);
    for (std::uint32_t channel = 0; channel < m_plan.source.channels; ++channel) {
      *samples++ *= factor;
    }
  }
}

void UnitRenderer::packTo(const Target& target, const double* samples, std::byte* out,
                          std::uint32_t frames, bool mix) {
  const std::size_t width = target.map.size();
  for (std::size_t channel = 0; channel < width; ++channel) {
    const auto from = static_cast<std::uint32_t>(target.map[channel]);  // -1 is beyond every stream
    const bool played = from < m_plan.source.channels;
    for (std::size_t frame = 0; frame < frames; ++frame) {
      m_mapped[frame * width + channel] =
          played ? samples[frame * m_plan.source.channels + from] : 0.0;
    }
  }
  const std::size_t count = frames * width;
  if (mix) {
    unpackSamples(target.format.sample, out, m_present.data(), count);
    std::transform(m_mapped.begin(), m_mapped.begin() + static_cast<std::ptrdiff_t>(count),
                   m_present.begin(), m_mapped.begin(), std::plus<>());
  }
  packSamples(target.format.sample, m_mapped.data(), out, count);
}

}  // namespace Platform
