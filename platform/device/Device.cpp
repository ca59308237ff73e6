// SPDX-License-Identifier: MIT

#include "platform/device/Device.h"

#include <algorithm>
#include <chrono>
#include <thread>
#include <utility>

namespace Platform {
namespace {

constexpr std::chrono::milliseconds kTimeToGoOn{250};

}  // namespace

Device::Device(AudioDeviceID id, std::vector<AudioStreamID> streamIds, std::string identifier,
               std::string name, std::unique_ptr<Driver> driver)
    : m_id(id),
      m_streamIds(std::move(streamIds)),
      m_identifier(std::move(identifier)),
      m_name(std::move(name)),
      m_driver(std::move(driver)),
      m_cycles(*m_driver, m_streamIds.size()),
      m_watch(m_cycles, *m_driver) {}

Device::~Device() { end(); }

OSStatus Device::change(const std::function<OSStatus(bool running)>& apply) {
  if (inCycle()) {
    return kAudioHardwareIllegalOperationError;  // the cycle's buffers are in use
  }
  const Tavro::Lock control(m_control);
  const Tavro::Lock io(ioLock());
  if (m_life.hasEnded()) {
    return kAudioHardwareBadDeviceError;
  }
  const OSStatus status = apply(hasClients());
  if (status == noErr && m_cycles.readDescription()) {
    m_cycles.clients().deviceChanged();
  }
  return status;
}

OSStatus Device::setFormat(std::size_t stream, const AudioStreamBasicDescription& format) {
  return change([&](bool running) TAVRO_REQUIRES(m_control) {
    return m_driver->setFormat(stream, format, running);
  });
}

OSStatus Device::setLayout(const Labels& labels) {
  return change([&](bool running)
                    TAVRO_REQUIRES(m_control) { return m_driver->setLayout(labels, running); });
}

OSStatus Device::negotiateFormat(const PcmFormat& format) {
  if (inCycle()) {
    return noErr;
  }
  const Tavro::Lock control(m_control);
  const Tavro::Lock io(ioLock());
  if (m_life.hasEnded()) {
    return noErr;
  }
  const OSStatus status = m_driver->negotiateFormat(format, hasClients());
  if (status == noErr && !hasClients()) {
    m_cycles.readDescription();
  }
  return status;
}

OSStatus Device::add(const std::shared_ptr<Client>& client) {
  if (inCycle()) {
    const Tavro::Lock io(ioLock());
    return insert(client);
  }
  const Tavro::Lock control(m_control);
  {
    const Tavro::Lock io(ioLock());
    const bool first = !hasClients();
    if (const OSStatus status = insert(client); status != noErr || !first) {
      return status;
    }
    m_cycles.resetSampleTime();
  }
  return startWith(client);
}

OSStatus Device::insert(const std::shared_ptr<Client>& client) {
  if (!isAlive()) {
    return kAudioHardwareBadDeviceError;
  }
  if (!(m_cycles.sampleRate() > 0)) {
    return kAudioHardwareBadStreamError;
  }
  m_cycles.clients().add(client);
  return noErr;
}

/// Starts the driver with the first client.
OSStatus Device::startWith(const std::shared_ptr<Client>& client) {
  m_driver->stop();  // joins a thread that ended by itself
  const OSStatus status = m_driver->start(m_cycles);
  m_startStatus.store(status);
  const Tavro::Lock io(ioLock());
  if (status != noErr) {
    m_cycles.clients().remove(*client);
    m_cycles.clients().closeGaps();
    return status;
  }
  m_cycles.readDescription();  // a driver may choose a format when it starts
  return noErr;
}

void Device::remove(const Client& client) {
  if (inCycle()) {
    const Tavro::Lock io(ioLock());
    takeOut(client);  // the cycle closes the gap; the driver's thread ends by itself
    return;
  }
  const Tavro::Lock control(m_control);
  {
    const Tavro::Lock io(ioLock());
    if (!takeOut(client)) {
      return;
    }
    m_cycles.clients().closeGaps();
  }
  if (!hasClients()) {
    m_driver->stop();
  }
}

/// Leaves a gap in the list. Returns false if the client was not in it.
bool Device::takeOut(const Client& client) {
  ClientList& clients = m_cycles.clients();
  if (!clients.has(client)) {
    return false;
  }
  if (clients.count() == 1) {
    discardBuffered();
  }
  clients.remove(client);
  return true;
}

/// Counts what the driver has not played yet, as it is never played.
void Device::discardBuffered() {
  if (m_asked.isSounding()) {
    m_framesDiscarded.fetch_add(m_asked.latencyFrames());
  }
}

void Device::end() {
  const Tavro::Lock control(m_control);
  {
    const Tavro::Lock io(ioLock());
    if (!m_life.end()) {
      return;
    }
    if (hasClients()) {
      discardBuffered();
    }
    m_cycles.clients().clear();
  }
  m_driver->stop();
  m_driver->finish();
}

void Device::endAtExit() {
  {
    const Tavro::Lock io(ioLock());
    if (!m_life.end()) {
      return;
    }
    m_cycles.clients().clear();
  }
  unlocked().finish();
}

/// A server that responds again may resume the old stream, so it first gets some time to do so.
void Device::reopen() {
  const std::uint64_t cyclesBefore = m_cycles.count();
  if (!isAlive() || !m_asked.isResponsive()) {
    return;
  }
  std::this_thread::sleep_for(kTimeToGoOn);
  if (m_cycles.count() != cyclesBefore) {
    return;
  }
  const Tavro::Lock control(m_control);
  if (hasClients() && isAlive()) {
    discardBuffered();
    m_driver->restart(m_cycles);
  }
}

AudioDevices::Failure Device::failure() const {
  const AudioDevices::Failure ownFailure = m_life.failure();
  return ownFailure ? ownFailure : m_asked.failure();
}

AudioDevices::DeviceTotals Device::totals() const {
  // In this order, a cycle in between can make framesHeard too small, but never too large.
  AudioDevices::DeviceTotals totals = m_cycles.totals();
  totals.framesDiscarded = m_framesDiscarded.load();
  const std::uint64_t pending = hasClients() ? m_asked.latencyFrames() : 0;
  totals.framesHeard =
      totals.framesPlayed - std::min(totals.framesPlayed, totals.framesDiscarded + pending);
  totals.framesWritten = m_asked.framesWritten();
  totals.underruns = m_asked.underruns();
  totals.latencyFrames = m_asked.latencyFrames();
  totals.startStatus = m_startStatus.load();
  totals.driftPpm = m_asked.driftPpm();
  return totals;
}

}  // namespace Platform
