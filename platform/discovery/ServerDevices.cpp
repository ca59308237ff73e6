// SPDX-License-Identifier: MIT

#include "platform/discovery/ServerDevices.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "platform/manager/DeviceManager.h"
#include "platform/system/BackendLibrary.h"
#include "time/HostTime.h"

namespace Platform {
namespace {

const Sink* find(const ServerState& state, const std::string& name) {
  const auto found = std::ranges::find(state.sinks, name, &Sink::name);
  return found != state.sinks.end() ? &*found : nullptr;
}

AudioDevices::Failure lossOf(const Device& device, const std::string& what,
                             OSStatus status = kAudioHardwareBadDeviceError) {
  return {.status = status, .message = "the device '" + device.identifier() + "' is lost: " + what};
}

}  // namespace

ServerDevices& ServerDevices::instance() {
  static auto* devices = new ServerDevices;  // its thread may outlive every static's destructor
  return *devices;
}

AudioDevices::Failure ServerDevices::update() {
  if (Tavro::HostTime::isSimulated()) {
    return {.status = kAudioHardwareUnsupportedOperationError,
            .message = "no sound server: it plays in real time only"};
  }
  const Tavro::Lock lock(m_lock);
  AudioDevices::Failure failure;
  if (!m_server || !m_server->state().connected) {
    return reconnect();
  }
  if (!m_server->refresh()) {
    failure = {.status = kAudioHardwareUnspecifiedError,
               .message = "no sound server: it does not answer"};
  }
  synchronise(Lost::GetANewDevice);
  return failure;
}

void ServerDevices::setStreamName(const AudioDevices::StreamName& name) {
  const Tavro::Lock lock(m_lock);
  m_streamName = name;
  if (m_server) {
    m_server->setStreamName(name);
  }
}

AudioDevices::Failure ServerDevices::connect() {
  AudioDevices::Failure failure;
  const auto connectTo =
      loadFunction<ConnectSoundServer>(kSoundServerModule, kSoundServerEntry, "libpulse0");
  if (!connectTo) {
    return {.status = kAudioHardwareUnspecifiedError,
            .message = "no sound server: " + connectTo.reason};
  }
  if (SoundServer* const connected = connectTo.entry(*this, failure)) {
    m_server.reset(connected);
    m_server->setStreamName(m_streamName);
  }
  if (m_server && !std::exchange(m_watched, true)) {
    std::thread([this] { watch(); }).detach();
  }
  return failure;
}

void ServerDevices::serverChanged() {
  {
    const Tavro::Lock lock(m_changeLock);
    m_changed = true;
  }
  m_change.notifyOne();
}

void ServerDevices::watch() {
  std::optional<BackOff::Interval> atMost;  // until the next attempt to connect
  for (;;) {
    awaitChange(atMost);
    const Tavro::Lock lock(m_lock);
    if (m_server->state().connected) {
      synchronise(Lost::StayLost);
    } else {
      reconnect();
    }
    atMost.reset();
    if (!m_server->state().connected) {
      atMost = m_backOff.interval();
    }
  }
}

void ServerDevices::awaitChange(std::optional<BackOff::Interval> atMost) {
  using Clock = Tavro::Condition::Clock;
  const auto deadline = atMost ? Clock::now() + *atMost : Clock::time_point::max();
  const Tavro::Lock lock(m_changeLock);
  while (!m_changed && m_change.waitUntil(m_changeLock, deadline)) {
  }
  m_changed = false;
}

/// Loses all devices first, so that none of the former connection is taken for one of the new.
AudioDevices::Failure ServerDevices::reconnect() {
  const bool hadOne = m_server != nullptr;
  if (hadOne) {
    loseDevices(m_server->state());
  }
  AudioDevices::Failure failure = connect();
  if (failure) {
    m_backOff.increase();
    return failure;
  }
  m_backOff.reset();
  synchronise(Lost::GetANewDevice);
  if (hadOne) {
    DeviceManager::instance().serverBack();
  }
  return failure;
}

/// Order matters: add new devices, switch the default, remove lost devices, clear the default.
/// Clients move before their old device is lost, and those left without one get the reason.
void ServerDevices::synchronise(Lost lost) {
  const ServerState state = m_server->state();
  for (const Sink& sink : state.sinks) {
    takeOver(sink, lost);
  }
  const auto chosen = m_entries.find(state.defaultSink);
  const bool isThere = chosen != m_entries.end() && chosen->second.device->isAlive();
  if (isThere) {
    DeviceManager::instance().setServerDefault(chosen->second.device->id());
  }
  loseDevices(state);
  if (!isThere) {
    DeviceManager::instance().setServerDefault(kAudioObjectUnknown);
  }
}

void ServerDevices::takeOver(const Sink& sink, Lost lost) {
  const auto known = m_entries.find(sink.name);
  if (known == m_entries.end()) {
    m_entries.emplace(sink.name, makeDevice(sink));
    return;
  }
  Entry& entry = known->second;
  const bool isNew = sink.index != entry.sink.index;
  if (isNew || (!entry.device->isAlive() && lost == Lost::GetANewDevice)) {
    replace(entry, sink);
  } else if (const Sink former = std::exchange(entry.sink, sink); former != sink) {
    entry.device->change([&](bool running) {
      entry.driver->update(sink, running);
      return noErr;
    });
    if (sink.rate != former.rate) {
      DeviceManager::instance().changed(DeviceEvent::RateChanged, *entry.device,
                                        kAudioDevicePropertyNominalSampleRate);
    }
  }
}

/// Its clients move to the new one at once, if they can.
void ServerDevices::replace(Entry& entry, const Sink& sink) {
  const DeviceManager::Loss loss{entry.device, lossOf(*entry.device, "it was replaced")};
  entry.device->life().markLost(loss.reason);
  entry = makeDevice(sink);
  DeviceManager::instance().lose({loss}, DeviceEvent::DeviceGone);
}

ServerDevices::Entry ServerDevices::makeDevice(const Sink& sink) {
  auto driver = m_server->makeDriver(sink);
  SinkDriver* const observed = driver.get();
  return {.sink = sink,
          .device = DeviceManager::instance().add(kServerPrefix + sink.name, sink.description,
                                                  std::move(driver), Origin::Server),
          .driver = observed};
}

void ServerDevices::loseDevices(const ServerState& state) {
  std::vector<DeviceManager::Loss> gone;
  std::vector<DeviceManager::Loss> ended;
  for (const auto& [name, entry] : m_entries) {
    if (!entry.device->isAlive()) {
      continue;
    }
    if (!state.connected) {
      gone.push_back({entry.device, lossOf(*entry.device, "the sound server is gone")});
    } else if (find(state, name) == nullptr) {
      gone.push_back({entry.device, lossOf(*entry.device, "it is not there any more")});
    } else if (entry.driver->streamEndedBy(state.generation)) {
      ended.push_back({entry.device, lossOf(*entry.device, "the sound server ended the stream",
                                            kAudioHardwareNotRunningError)});
    }
  }
  DeviceManager::instance().lose(
      gone, state.connected ? DeviceEvent::DeviceGone : DeviceEvent::ServerGone);
  DeviceManager::instance().lose(ended, DeviceEvent::StreamEnded);
  std::erase_if(m_entries, [&](const auto& each) { return find(state, each.first) == nullptr; });
}

}  // namespace Platform
