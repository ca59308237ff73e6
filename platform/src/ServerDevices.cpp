#include "ServerDevices.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "Graph.h"
#include "Module.h"
#include "Registry.h"
#include "time/HostTime.h"

namespace Platform {
namespace {

const Sink* find(const ServerState& state, const std::string& name) {
  const auto found = std::ranges::find(state.sinks, name, &Sink::name);
  return found != state.sinks.end() ? &*found : nullptr;
}

AudioDevices::Failure lossOf(const Device& device, const std::string& what) {
  return {.status = kAudioHardwareBadDeviceError,
          .message = "the device '" + device.identifier() + "' is lost: " + what};
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
  const std::lock_guard lock(m_lock);
  AudioDevices::Failure failure;
  if (!m_server || !m_server->state().connected) {
    failure = connect();
  }
  if (m_server) {
    synchronise(Lost::GetANewDevice);
  }
  return failure;
}

AudioDevices::Failure ServerDevices::connect() {
  AudioDevices::Failure failure;
  const auto connectTo = loadEntry<ConnectSoundServer>(kSoundServerModule, kSoundServerEntry);
  if (!connectTo) {
    return {.status = kAudioHardwareUnspecifiedError,
            .message = "no sound server: " + connectTo.reason};
  }
  if (SoundServer* const connected = connectTo.entry(*this, failure)) {
    m_server.reset(connected);
  }
  if (m_server && !std::exchange(m_watched, true)) {
    std::thread([this] { watch(); }).detach();
  }
  return failure;
}

void ServerDevices::serverChanged() {
  {
    const std::lock_guard lock(m_changeLock);
    m_changed = true;
  }
  m_change.notify_one();
}

void ServerDevices::watch() {
  for (;;) {
    {
      std::unique_lock lock(m_changeLock);
      m_change.wait(lock, [this] { return m_changed; });
      m_changed = false;
    }
    const std::lock_guard lock(m_lock);
    synchronise(Lost::StayLost);
  }
}

/// In this order, so that what follows the default moves before the device it leaves is told to be
/// lost: new devices, the default, lost devices.
void ServerDevices::synchronise(Lost lost) {
  const ServerState state = m_server->state();
  for (const Sink& sink : state.sinks) {
    takeOver(sink, lost);
  }
  const auto chosen = m_entries.find(state.defaultSink);
  const bool isThere = chosen != m_entries.end() && chosen->second.device->isAlive();
  Registry::instance().setServerDefault(isThere ? chosen->second.device->id()
                                                : AudioObjectID{kAudioObjectUnknown});
  followDefaultDevice();
  loseDevices(state);
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
    entry.device->lose(lossOf(*entry.device, "it was replaced"));
    entry = makeDevice(sink);
  } else if (sink != std::exchange(entry.sink, sink)) {
    entry.device->change([&](bool running) {
      entry.driver->update(sink, running);
      return noErr;
    });
  }
}

ServerDevices::Entry ServerDevices::makeDevice(const Sink& sink) {
  auto driver = m_server->makeDriver(sink);
  SinkDriver* const observed = driver.get();
  return {.sink = sink,
          .device = Registry::instance().addServerDevice(kServerPrefix + sink.name,
                                                         sink.description, std::move(driver)),
          .driver = observed};
}

void ServerDevices::loseDevices(const ServerState& state) {
  for (auto& [name, entry] : m_entries) {
    if (!state.connected) {
      entry.device->lose(lossOf(*entry.device, "the sound server is gone"));
    } else if (find(state, name) == nullptr) {
      entry.device->lose(lossOf(*entry.device, "it is not there any more"));
    } else if (entry.driver->streamEndedBy(state.generation)) {
      entry.device->lose(lossOf(*entry.device, "the sound server ended the stream"));
    }
  }
  std::erase_if(m_entries, [&](const auto& each) { return find(state, each.first) == nullptr; });
}

}  // namespace Platform
