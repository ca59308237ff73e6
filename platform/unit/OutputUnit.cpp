// SPDX-License-Identifier: MIT

#include "platform/unit/OutputUnit.h"

#include <utility>

#include "platform/manager/DeviceManager.h"

namespace Platform {
OutputUnit::OutputUnit(std::shared_ptr<Device> device)
    : m_configuration(usualConfiguration(std::move(device))) {}

UnitConfiguration OutputUnit::configuration() const {
  const Tavro::Lock model(modelLock());
  return m_configuration;
}

/// Applies a change to the configuration, and to the renderer if the unit plays.
template <class Change>
OSStatus OutputUnit::change(Change apply) {
  if (const auto current = device(); current && current->inCycle()) {
    return kAudioUnitErr_CannotDoInCurrentContext;
  }
  const Tavro::Lock lock(m_change);
  UnitConfiguration changed = configuration();
  const OSStatus status = apply(changed);
  if (status != noErr) {
    return status;
  }
  if (isRunning()) {
    if (const OSStatus refused = m_renderer.rebuild(changed, gain()); refused != noErr) {
      return refused;
    }
  }
  exchange(changed);
  return noErr;
}

/// The caller releases the previous device after the lock.
void OutputUnit::exchange(UnitConfiguration& changed) {
  const Tavro::Lock model(modelLock());
  std::swap(m_configuration, changed);
}

/// Offers the format to the device, which may refuse it, before the unit plays it.
OSStatus OutputUnit::offered(const UnitConfiguration& configuration) {
  const bool taken =
      !configuration.device || configuration.device->negotiateFormat(configuration.format) == noErr;
  return taken ? OSStatus{noErr} : OSStatus{kAudioUnitErr_FormatNotSupported};
}

OSStatus OutputUnit::setFormat(const AudioStreamBasicDescription& description) {
  const auto format = parsePcm(description);
  if (!format) {
    return kAudioUnitErr_FormatNotSupported;
  }
  return change([&](UnitConfiguration& configuration) {
    configuration.format = *format;
    return offered(configuration);
  });
}

OSStatus OutputUnit::setCallback(const AURenderCallbackStruct& callback) {
  return change([&](UnitConfiguration& configuration) {
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
  const Tavro::Lock lock(m_change);
  UnitConfiguration changed = configuration();
  changed.followsDefault = false;
  if (device != changed.device) {
    changed.channelMap.clear();
  }
  changed.device = device;
  return moveTo(std::move(changed), isRunning());
}

/// Uses the current default, not the one at call time: calls can race.
void OutputUnit::followDefault() {
  const Tavro::Lock lock(m_change);
  auto target = DeviceManager::instance().defaultDevice();
  UnitConfiguration changed = configuration();
  if (target && target != changed.device && changed.followsDefault && !isShutDown()) {
    changed.device = std::move(target);
    moveTo(std::move(changed), isStarted());
  }
}

OSStatus OutputUnit::moveTo(UnitConfiguration changed, bool plays) {
  const bool isElsewhere = changed.device != device();
  if (isElsewhere) {
    if (const OSStatus refused = offered(changed); refused != noErr) {
      return refused;
    }
    stop();
  }
  exchange(changed);
  return isElsewhere && plays ? start() : OSStatus{noErr};
}

OSStatus OutputUnit::setChannelMap(std::span<const SInt32> map) {
  return change([&](UnitConfiguration& configuration) {
    if (!configuration.device || map.size() != configuration.device->state().channels()) {
      return OSStatus{kAudioUnitErr_InvalidPropertyValue};
    }
    configuration.channelMap.assign(map.begin(), map.end());
    return OSStatus{noErr};
  });
}

OSStatus OutputUnit::reset() {
  return change([](UnitConfiguration&) { return noErr; });
}

AudioStreamBasicDescription OutputUnit::format() const {
  return describePcm(configuration().format);
}

AURenderCallbackStruct OutputUnit::callback() const { return configuration().callback; }

std::shared_ptr<Device> OutputUnit::device() const { return configuration().device; }

std::vector<SInt32> OutputUnit::channelMap() const {
  const UnitConfiguration current = configuration();
  return effectiveChannelMap(current.channelMap,
                             current.device ? current.device->state().channels() : 0);
}

void OutputUnit::deviceChanged() {
  const UnitConfiguration current = configuration();
  current.device->ioLock().assertHeld();
  m_renderer.adapt(current, gain());
}

OSStatus OutputUnit::start() {
  const auto target = device();
  if (!target || !target->isAlive()) {
    return kAudioHardwareBadDeviceError;
  }
  if (target->inCycle()) {
    return kAudioUnitErr_CannotDoInCurrentContext;  // its renderer may be in use up the stack
  }
  const Tavro::Lock lock(m_change);
  const UnitConfiguration current = configuration();
  if (current.callback.inputProc == nullptr) {
    return kAudioUnitErr_NoConnection;
  }
  if (isRunning()) {
    return noErr;
  }
  if (const OSStatus refused = offered(current); refused != noErr) {
    return refused;
  }
  if (const OSStatus status = m_renderer.rebuild(current, gain()); status != noErr) {
    return status;
  }
  // Before the first cycle, because its callback may stop the unit again.
  markStarted(true);
  OSStatus status = current.device->add(shared_from_this());
  if (status == noErr) {
    m_renderer.refresh(current, gain());
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

void OutputUnit::markStarted(bool started) {
  const Tavro::Lock model(modelLock());
  m_started = started;
}

bool OutputUnit::isStarted() const {
  const Tavro::Lock model(modelLock());
  return m_started;
}

bool OutputUnit::isShutDown() const {
  const Tavro::Lock model(modelLock());
  return m_isShutDown;
}

void OutputUnit::shutDown() {
  {
    const Tavro::Lock model(modelLock());
    m_isShutDown = true;
  }
  stop();
}

void OutputUnit::stop() {
  const auto playing = device();
  if (!playing) {
    return;
  }
  if (playing->inCycle()) {
    leaveDevice();
    return;
  }
  const Tavro::Lock lock(m_change);
  leaveDevice();
}

void OutputUnit::leaveDevice() {
  device()->remove(*this);
  markStarted(false);
}

bool OutputUnit::isRunning() const {
  const Tavro::Lock model(modelLock());
  return m_started && m_configuration.device->isAlive();
}

bool OutputUnit::play(const Cycle& cycle) TAVRO_NONBLOCKING {
  return m_renderer.play(cycle, gain());
}

}  // namespace Platform
