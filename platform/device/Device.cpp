// SPDX-License-Identifier: MIT

#include "platform/device/Device.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <thread>
#include <utility>

#include "platform/device/ModelLock.h"
#include "platform/device/StallMonitor.h"
#include "platform/format/Silence.h"
#include "platform/iec61937/BurstFormat.h"
#include "time/HostTime.h"

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
      m_driver(std::move(driver)) {
  m_list.resize(sizeof(AudioBufferList) + m_streamIds.size() * sizeof(AudioBuffer));
  m_memory.resize(m_streamIds.size());
  readDescription();
}

Device::~Device() { end(); }

DeviceState Device::state() const {
  const std::lock_guard model(modelLock());
  return m_state;
}

std::uint32_t Device::cycleFrames() const {
  const std::lock_guard model(modelLock());
  return m_state.cycleFrames();
}

double Device::sampleRate() const {
  const std::lock_guard model(modelLock());
  return m_state.sampleRate();
}

/// Returns true if it has changed for the clients.
bool Device::readDescription() {
  DriverDescription description = m_driver->describe();
  for (std::size_t i = 0; i < m_memory.size(); ++i) {
    m_memory[i].resize(bufferBytes(description.streams[i], kMaxCycleFrames));
  }
  const std::lock_guard model(modelLock());
  const bool differs = !playsAlike(description, m_state.description);
  m_state.description = std::move(description);
  m_state.generation += differs ? 1 : 0;
  return differs;
}

OSStatus Device::change(const std::function<OSStatus(bool running)>& apply) {
  if (inCycle()) {
    return kAudioHardwareIllegalOperationError;  // the cycle's buffers are in use
  }
  const std::lock_guard control(m_control);
  const std::lock_guard io(m_io);
  if (m_ended.load()) {
    return kAudioHardwareBadDeviceError;
  }
  const OSStatus status = apply(hasClients());
  if (status == noErr && readDescription()) {
    for (const auto& client : m_clients) {
      client->deviceChanged();
    }
  }
  return status;
}

OSStatus Device::setFormat(std::size_t stream, const AudioStreamBasicDescription& format) {
  return change([&](bool running) { return m_driver->setFormat(stream, format, running); });
}

OSStatus Device::setLayout(const Labels& labels) {
  return change([&](bool running) { return m_driver->setLayout(labels, running); });
}

OSStatus Device::negotiateFormat(const PcmFormat& format) {
  if (inCycle()) {
    return noErr;
  }
  const std::lock_guard control(m_control);
  const std::lock_guard io(m_io);
  if (m_ended.load()) {
    return noErr;
  }
  const OSStatus status = m_driver->negotiateFormat(format, hasClients());
  if (status == noErr && !hasClients()) {
    readDescription();
  }
  return status;
}

OSStatus Device::add(const std::shared_ptr<Client>& client) {
  const bool inside = inCycle();
  std::unique_lock control(m_control, std::defer_lock);
  if (!inside) {
    control.lock();
  }
  bool first = false;
  {
    const std::lock_guard io(m_io);
    if (!isAlive()) {
      return kAudioHardwareBadDeviceError;
    }
    if (!(m_state.sampleRate() > 0)) {
      return kAudioHardwareBadStreamError;
    }
    first = !inside && !hasClients();
    m_clients.push_back(client);
    ++m_clientCount;
    if (first) {
      m_framesSinceStart = 0;
    }
  }
  if (!first) {
    return noErr;
  }
  if (m_driver->isSounding()) {
    watchCycles();
  }
  m_driver->stop();  // joins a thread that ended by itself
  const OSStatus status = m_driver->start(*this);
  m_startStatus.store(status);
  const std::lock_guard io(m_io);
  if (status != noErr) {
    std::erase(m_clients, client);
    m_clientCount = m_clients.size();
    return status;
  }
  readDescription();  // a driver may choose a format when it starts
  return noErr;
}

void Device::remove(const Client& client) {
  const bool inside = inCycle();
  std::unique_lock control(m_control, std::defer_lock);
  if (!inside) {
    control.lock();
  }
  {
    const std::lock_guard io(m_io);
    const auto found = std::ranges::find(m_clients, &client, &std::shared_ptr<Client>::get);
    if (found == m_clients.end()) {
      return;
    }
    if (m_clientCount.load() == 1) {
      discardBuffered();
    }
    found->reset();
    --m_clientCount;
    if (inside) {
      return;
    }
    compactClients();
  }
  if (!hasClients()) {
    m_driver->stop();
  }
}

/// Counts what the driver has not played yet, as it is never played.
void Device::discardBuffered() {
  if (m_driver->isSounding()) {
    m_framesDiscarded.fetch_add(m_driver->latencyFrames());
  }
}

void Device::compactClients() {
  std::erase_if(m_clients, [](const auto& client) { return client == nullptr; });
}

void Device::end() {
  const std::lock_guard control(m_control);
  {
    const std::lock_guard io(m_io);
    if (m_ended.exchange(true)) {
      return;
    }
    if (hasClients()) {
      discardBuffered();
    }
    m_clients.clear();
    m_clientCount = 0;
  }
  m_driver->stop();
  m_driver->finish();
}

void Device::endAtExit() {
  {
    const std::lock_guard io(m_io);
    if (m_ended.exchange(true)) {
      return;
    }
    m_clients.clear();
    m_clientCount = 0;
  }
  m_driver->finish();
}

void Device::markLost(const AudioDevices::Failure& loss) {
  if (isAlive()) {
    const std::lock_guard model(modelLock());
    m_loss = loss;
    m_lost = true;
  }
}

StallDetector::Finding Device::poll(std::uint64_t nowNs) {
  const bool plays = isAlive() && hasClients() && m_driver->isSounding() && !isSuspended();
  const DeviceState present = state();
  const auto cycleNs =
      plays ? static_cast<std::uint64_t>(present.cycleFrames() * 1e9 / present.sampleRate()) : 0;
  const auto finding = m_watchdog.poll(nowNs, plays, m_cycles.load(), cycleNs);
  m_isStalled = m_watchdog.isStalled();
  return finding;
}

std::optional<bool> Device::changeOfSuspension() {
  const bool now = isSuspended();
  return std::exchange(m_wasSuspended, now) != now ? std::optional(now) : std::nullopt;
}

/// A server that responds again may resume the old stream, so it first gets some time to do so.
void Device::reopen() {
  const std::uint64_t cyclesBefore = m_cycles.load();
  if (!isAlive() || !m_driver->isResponsive()) {
    return;
  }
  std::this_thread::sleep_for(kTimeToGoOn);
  if (m_cycles.load() != cyclesBefore) {
    return;
  }
  const std::lock_guard control(m_control);
  if (hasClients() && isAlive()) {
    discardBuffered();
    m_driver->restart(*this);
  }
}

void Device::noteRefusal(const AudioDevices::Failure& refusal) {
  const std::lock_guard model(modelLock());
  m_refusal = refusal;
}

AudioDevices::Failure Device::failure() const {
  {
    const std::lock_guard model(modelLock());
    if (m_loss || m_refusal) {
      return m_loss ? m_loss : m_refusal;
    }
  }
  return m_driver->failure();
}

AudioDevices::DeviceTotals Device::totals() const {
  // In this order, a cycle in between can make framesHeard too small, but never too large.
  const std::uint64_t played = m_framesPlayed.load();
  const std::uint64_t discarded = m_framesDiscarded.load();
  const std::uint64_t pending = hasClients() ? m_driver->latencyFrames() : 0;
  return {.cycles = m_cycles.load(),
          .framesPlayed = played,
          .framesHeard = played - std::min(played, discarded + pending),
          .framesDiscarded = discarded,
          .framesWritten = m_driver->framesWritten(),
          .lateCycles = m_lateCycles.load(),
          .underruns = m_driver->underruns(),
          .latencyFrames = m_driver->latencyFrames(),
          .burstCycles = m_burstCycles.load(),
          .bursts = m_bursts.load(),
          .startStatus = m_startStatus.load(),
          .driftPpm = m_driver->driftPpm()};
}

std::uint32_t Device::cycle(std::uint32_t frames, std::uint64_t dueNs) {
  const std::lock_guard io(m_io);
  if (!hasClients()) {
    return 0;
  }
  frames = frames == kUsualFrames ? m_state.cycleFrames() : std::min(frames, kMaxCycleFrames);
  m_cycleThread.store(std::this_thread::get_id());
  if (m_driver->isSounding() &&
      std::exchange(m_scheduled, std::this_thread::get_id()) != std::this_thread::get_id()) {
    Tavro::RealTime::askForScheduling();
  }
  prepareBuffers(frames);
  AudioTimeStamp time{};
  time.mSampleTime = static_cast<Float64>(m_framesSinceStart);
  time.mHostTime = dueNs;
  time.mFlags = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid;
  const bool silent = callClients(frames, time);
  countBursts();
  m_driver->deliver(*reinterpret_cast<AudioBufferList*>(m_list.data()), frames, silent);
  compactClients();
  m_cycleThread.store({});
  countCycle(frames, dueNs);
  return frames;
}

void Device::prepareBuffers(std::uint32_t frames) {
  auto* list = reinterpret_cast<AudioBufferList*>(m_list.data());
  list->mNumberBuffers = static_cast<UInt32>(m_memory.size());
  for (std::size_t i = 0; i < m_memory.size(); ++i) {
    const DriverStream& stream = m_state.description.streams[i];
    const std::size_t bytes = bufferBytes(stream, frames);
    std::memset(m_memory[i].data(), 0, bytes);
    list->mBuffers[i] = {.mNumberChannels = stream.format.mChannelsPerFrame,
                         .mDataByteSize = static_cast<UInt32>(bytes),
                         .mData = stream.withoutMemory ? nullptr : m_memory[i].data()};
  }
}

/// Iterates by index: a client may remove itself or others, or add one, which then begins with the
/// next cycle.
bool Device::callClients(std::uint32_t frames, const AudioTimeStamp& time) {
  auto& buffers = *reinterpret_cast<AudioBufferList*>(m_list.data());
  bool silent = true;
  const std::size_t count = m_clients.size();
  for (std::size_t i = 0; i < count; ++i) {
    if (const std::shared_ptr<Client> client = m_clients[i]) {
      silent &= client->play({.buffers = buffers, .frames = frames, .time = time, .mix = !silent});
    }
  }
  return silent;
}

void Device::countBursts() {
  const auto& list = *reinterpret_cast<const AudioBufferList*>(m_list.data());
  bool anyStream = false;
  bool anyBurst = false;
  for (std::size_t i = 0; i < m_memory.size(); ++i) {
    if (isBurstFormat(m_state.description.streams[i].format)) {
      anyStream = true;
      anyBurst |= !isZero(list.mBuffers[i].mData, list.mBuffers[i].mDataByteSize);
    }
  }
  m_burstCycles.fetch_add(anyStream ? 1 : 0, std::memory_order_relaxed);
  m_bursts.fetch_add(anyBurst ? 1 : 0, std::memory_order_relaxed);
}

void Device::countCycle(std::uint32_t frames, std::uint64_t dueNs) {
  const double cycleNs = frames * 1e9 / m_state.sampleRate();
  if (Tavro::HostTime::now() > dueNs + static_cast<std::uint64_t>(cycleNs)) {
    m_lateCycles.fetch_add(1, std::memory_order_relaxed);
  }
  m_framesSinceStart += frames;
  m_cycles.fetch_add(1, std::memory_order_relaxed);
  m_framesPlayed.fetch_add(frames, std::memory_order_relaxed);
}

}  // namespace Platform
