// SPDX-License-Identifier: MIT

#include "platform/unit/CurrentRenderer.h"

#include <stdexcept>
#include <utility>

namespace Platform {
namespace {

struct Prepared {
  std::unique_ptr<UnitRenderer> renderer;
  std::uint64_t deviceGeneration;
};

/// Throws like UnitRenderer.
Prepared prepare(const UnitConfiguration& configuration, float gain) {
  const DeviceState state = configuration.device->state();
  RenderConfig plan{.source = configuration.format,
                    .callback = configuration.callback,
                    .channelMap = effectiveChannelMap(configuration.channelMap, state.channels()),
                    .streams = {},
                    .deviceRate = static_cast<std::uint32_t>(state.sampleRate()),
                    .maxFrames = CycleBuffers::kMaxFrames,
                    .device = configuration.device->id()};
  for (const DriverStream& stream : state.description.streams) {
    plan.streams.push_back(parsePcm(stream.format));
  }
  return {.renderer = std::make_unique<UnitRenderer>(std::move(plan), gain),
          .deviceGeneration = state.generation};
}

}  // namespace

/// It is made outside the I/O lock, and made again under it in the rare case that the device has
/// changed meanwhile. The former one is destroyed after the lock.
OSStatus CurrentRenderer::rebuild(const UnitConfiguration& configuration, float gain) try {
  Prepared prepared = prepare(configuration, gain);
  {
    const Tavro::Lock io(configuration.device->ioLock());
    if (configuration.device->state().generation != prepared.deviceGeneration) {
      prepared = prepare(configuration, gain);
    }
    m_renderer.swap(prepared.renderer);
    m_deviceGeneration = prepared.deviceGeneration;
  }
  configuration.device->life().noteRefusal({});
  return noErr;
} catch (const std::runtime_error& error) {
  configuration.device->life().noteRefusal(
      {.status = kAudioUnitErr_FormatNotSupported,
       .message = "'" + configuration.device->identifier() + "': " + error.what()});
  return kAudioUnitErr_FormatNotSupported;
}

void CurrentRenderer::refresh(const UnitConfiguration& configuration, float gain) {
  const Tavro::Lock io(configuration.device->ioLock());
  if (m_deviceGeneration != configuration.device->state().generation) {
    adapt(configuration, gain);
  }
}

void CurrentRenderer::adapt(const UnitConfiguration& configuration, float gain) try {
  Prepared prepared = prepare(configuration, gain);
  m_renderer = std::move(prepared.renderer);
  m_deviceGeneration = prepared.deviceGeneration;
} catch (const std::runtime_error&) {
  m_renderer.reset();  // cannot convert to the device's new rate: silence
}

bool CurrentRenderer::play(const Cycle& cycle, float gain) TAVRO_NONBLOCKING {
  return !m_renderer ||
         m_renderer->render(cycle.buffers, cycle.frames, cycle.time, gain, cycle.mix);
}

}  // namespace Platform
