// SPDX-License-Identifier: MIT

#include "platform/unit/OutputUnit.h"

#include <numeric>
#include <optional>
#include <stdexcept>
#include <utility>

#include "platform/device/DeviceManager.h"
#include "platform/device/ModelLock.h"

namespace Platform {
namespace {

PcmFormat formatLike(const Device* device) {
  PcmFormat format{.sample = {.type = SampleType::F32}};
  if (device != nullptr) {
    const DeviceState state = device->state();
    const auto& streams = state.description.streams;
    if (!streams.empty()) {
      if (const auto first = parsePcm(streams.front().format)) {
        format.channels = first->channels;
        format.rate = first->rate;
      }
    }
  }
  return format;
}

}  // namespace

std::vector<SInt32> effectiveChannelMap(const std::vector<SInt32>& map, std::uint32_t channels) {
  if (map.size() == channels) {
    return map;
  }
  std::vector<SInt32> identity(channels);
  std::iota(identity.begin(), identity.end(), 0);
  return identity;
}

OutputUnit::OutputUnit(std::shared_ptr<Device> device) {
  m_configuration.format = formatLike(device.get());
  m_configuration.device = std::move(device);
}

OutputUnit::Configuration OutputUnit::configuration() const {
  const std::lock_guard model(modelLock());
  return m_configuration;
}

/// Applies a change to the configuration, and to the renderer if the unit plays.
template <class Change>
OSStatus OutputUnit::change(Change apply) {
  if (const auto current = device(); current && current->inCycle()) {
    return kAudioUnitErr_CannotDoInCurrentContext;
  }
  const std::lock_guard lock(m_change);
  Configuration changed = configuration();
  const OSStatus status = apply(changed);
  if (status != noErr) {
    return status;
  }
  if (isRunning()) {
    if (const OSStatus refused = rebuildRenderer(changed); refused != noErr) {
      return refused;
    }
  }
  const std::lock_guard model(modelLock());
  std::swap(m_configuration, changed);
  return noErr;
}

/// Offers the format to the device, which may refuse it, before the unit plays it.
OSStatus OutputUnit::offered(const Configuration& configuration) {
  const bool taken =
      !configuration.device || configuration.device->negotiateFormat(configuration.format) == noErr;
  return taken ? OSStatus{noErr} : OSStatus{kAudioUnitErr_FormatNotSupported};
}

OSStatus OutputUnit::setFormat(const AudioStreamBasicDescription& description) {
  const auto format = parsePcm(description);
  if (!format) {
    return kAudioUnitErr_FormatNotSupported;
  }
  return change([&](Configuration& configuration) {
    configuration.format = *format;
    return offered(configuration);
  });
}

OSStatus OutputUnit::setCallback(const AURenderCallbackStruct& callback) {
  return change([&](Configuration& configuration) {
    if (callback.inputProc == nullptr && isRunning()) {
      return OSStatus{kAudioUnitErr_CannotDoInCurrentContext};
    }
    configuration.callback = callback;
    return OSStatus{noErr};
  });
}

OSStatus OutputUnit::setDevice(const std::shared_ptr<Device>& device) {
  if (const auto current = this->device(); current && current->inCycle()) {
    return kAudioUnitErr_CannotDoInCurrentContext;
  }
  const std::lock_guard lock(m_change);
  Configuration changed = configuration();
  changed.followsDefault = false;
  if (device != changed.device) {
    changed.channelMap.clear();
  }
  changed.device = device;
  return moveTo(std::move(changed), isRunning());
}

/// Uses the current default, not the one at call time: calls can race.
void OutputUnit::followDefault() {
  const std::lock_guard lock(m_change);
  auto target = DeviceManager::instance().defaultDevice();
  Configuration changed = configuration();
  if (target && target != changed.device && changed.followsDefault && !isShutDown()) {
    changed.device = std::move(target);
    moveTo(std::move(changed), isStarted());
  }
}

OSStatus OutputUnit::moveTo(Configuration changed, bool plays) {
  const bool isElsewhere = changed.device != device();
  if (isElsewhere) {
    if (const OSStatus refused = offered(changed); refused != noErr) {
      return refused;
    }
    stop();
  }
  {
    const std::lock_guard model(modelLock());
    std::swap(m_configuration, changed);  // the previous device is released after the lock
  }
  return isElsewhere && plays ? start() : OSStatus{noErr};
}

OSStatus OutputUnit::setChannelMap(std::span<const SInt32> map) {
  return change([&](Configuration& configuration) {
    if (!configuration.device || map.size() != configuration.device->state().channels()) {
      return OSStatus{kAudioUnitErr_InvalidPropertyValue};
    }
    configuration.channelMap.assign(map.begin(), map.end());
    return OSStatus{noErr};
  });
}

OSStatus OutputUnit::reset() {
  return change([](Configuration&) { return noErr; });
}

AudioStreamBasicDescription OutputUnit::format() const {
  return describePcm(configuration().format);
}

AURenderCallbackStruct OutputUnit::callback() const { return configuration().callback; }

std::shared_ptr<Device> OutputUnit::device() const { return configuration().device; }

std::vector<SInt32> OutputUnit::channelMap() const {
  const Configuration current = configuration();
  return effectiveChannelMap(current.channelMap,
                             current.device ? current.device->state().channels() : 0);
}

OutputUnit::Prepared OutputUnit::prepare(const Configuration& configuration) const {
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
  return {.renderer = std::make_unique<UnitRenderer>(std::move(plan), gain()),
          .deviceGeneration = state.generation};
}

/// Replaces the renderer by one for this configuration. It is made outside the I/O lock, and made
/// again under it in the rare case that the device has changed meanwhile.
OSStatus OutputUnit::rebuildRenderer(const Configuration& configuration) try {
  Prepared prepared = prepare(configuration);
  {
    const std::lock_guard io(configuration.device->ioLock());
    if (configuration.device->state().generation != prepared.deviceGeneration) {
      prepared = prepare(configuration);
    }
    m_renderer.swap(prepared.renderer);
    m_renderedGeneration = prepared.deviceGeneration;
  }
  configuration.device->life().noteRefusal({});
  return noErr;
} catch (const std::runtime_error& error) {
  configuration.device->life().noteRefusal(
      {.status = kAudioUnitErr_FormatNotSupported,
       .message = "'" + configuration.device->identifier() + "': " + error.what()});
  return kAudioUnitErr_FormatNotSupported;
}

void OutputUnit::deviceChanged() {
  const Configuration current = configuration();
  try {
    Prepared prepared = prepare(current);
    m_renderer = std::move(prepared.renderer);
    m_renderedGeneration = prepared.deviceGeneration;
  } catch (const std::runtime_error&) {
    m_renderer.reset();  // cannot convert to the device's new rate: silence
  }
}

OSStatus OutputUnit::start() {
  const auto target = device();
  if (!target || !target->isAlive()) {
    return kAudioHardwareBadDeviceError;
  }
  if (target->inCycle()) {
    return kAudioUnitErr_CannotDoInCurrentContext;  // its renderer may be in use up the stack
  }
  const std::lock_guard lock(m_change);
  const Configuration current = configuration();
  if (current.callback.inputProc == nullptr) {
    return kAudioUnitErr_NoConnection;
  }
  if (isRunning()) {
    return noErr;
  }
  if (const OSStatus refused = offered(current); refused != noErr) {
    return refused;
  }
  if (const OSStatus status = rebuildRenderer(current); status != noErr) {
    return status;
  }
  // Before the first cycle, because its callback may stop the unit again.
  markStarted(true);
  OSStatus status = current.device->add(shared_from_this());
  if (status == noErr) {
    refreshRendererFor(*current.device);
  }
  if (isShutDown()) {
    current.device->remove(*this);
    status = kAudioUnitErr_Uninitialized;
  }
  if (status != noErr) {
    markStarted(false);
  }
  return status;
}

/// Replaces the renderer if the device has changed since it was made.
void OutputUnit::refreshRendererFor(Device& device) {
  const std::lock_guard io(device.ioLock());
  if (m_renderedGeneration != device.state().generation) {
    deviceChanged();
  }
}

void OutputUnit::markStarted(bool started) {
  const std::lock_guard model(modelLock());
  m_started = started;
}

bool OutputUnit::isStarted() const {
  const std::lock_guard model(modelLock());
  return m_started;
}

bool OutputUnit::isShutDown() const {
  const std::lock_guard model(modelLock());
  return m_isShutDown;
}

void OutputUnit::shutDown() {
  {
    const std::lock_guard model(modelLock());
    m_isShutDown = true;
  }
  stop();
}

void OutputUnit::stop() {
  const auto playing = device();
  if (!playing) {
    return;
  }
  std::unique_lock lock(m_change, std::defer_lock);
  if (!playing->inCycle()) {
    lock.lock();
  }
  device()->remove(*this);
  markStarted(false);
}

bool OutputUnit::isRunning() const {
  const std::lock_guard model(modelLock());
  return m_started && m_configuration.device->isAlive();
}

bool OutputUnit::play(const Cycle& cycle) {
  return !m_renderer ||
         m_renderer->render(cycle.buffers, cycle.frames, cycle.time, gain(), cycle.mix);
}

}  // namespace Platform
