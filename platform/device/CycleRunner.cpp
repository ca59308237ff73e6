// SPDX-License-Identifier: MIT

#include "platform/device/CycleRunner.h"

#include <algorithm>
#include <utility>

#include "platform/format/Silence.h"
#include "platform/iec61937/BurstFormat.h"
#include "time/HostTime.h"
#include "time/RealTime.h"

namespace Platform {

CycleRunner::CycleRunner(Driver& driver, std::size_t streamCount)
    : m_driver(driver), m_buffers(streamCount) {
  readDescription();
}

DeviceState CycleRunner::state() const {
  const Tavro::Lock model(modelLock());
  return m_state;
}

std::uint32_t CycleRunner::cycleFrames() const {
  const Tavro::Lock model(modelLock());
  return m_state.cycleFrames();
}

double CycleRunner::sampleRate() const {
  const Tavro::Lock model(modelLock());
  return m_state.sampleRate();
}

AudioDevices::DeviceTotals CycleRunner::totals() const {
  return {.cycles = m_cycles.load(),
          .framesPlayed = m_framesPlayed.load(),
          .lateCycles = m_lateCycles.load(),
          .burstCycles = m_burstCycles.load(),
          .bursts = m_bursts.load()};
}

bool CycleRunner::readDescription() {
  DriverDescription description = m_driver.describe();
  m_buffers.allocate(description.streams);
  const Tavro::Lock model(modelLock());
  const bool differs = !playsAlike(description, m_state.description);
  m_state.description = std::move(description);
  m_state.generation += differs ? 1 : 0;
  return differs;
}

std::uint32_t CycleRunner::cycle(std::uint32_t frames, std::uint64_t dueNs) {
  const Tavro::Lock io(m_io);
  if (!hasClients()) {
    return 0;
  }
  frames =
      frames == kUsualFrames ? present().cycleFrames() : std::min(frames, CycleBuffers::kMaxFrames);
  m_cycleThread.store(std::this_thread::get_id());
  scheduleThread();
  const bool silent = play(frames, dueNs);
  countBursts();
  // Real time by our own marks ends here: a driver may hold its lock and call a server's library.
  m_driver.deliver(m_buffers.list(), frames, silent);
  m_clients.closeGaps();
  m_cycleThread.store({});
  countCycle(frames, dueNs);
  return frames;
}

/// Requests real time once per thread, if the device sounds.
void CycleRunner::scheduleThread() {
  if (m_driver.isSounding() &&
      std::exchange(m_scheduled, std::this_thread::get_id()) != std::this_thread::get_id()) {
    Tavro::RealTime::askForScheduling();
  }
}

/// Returns true if there is only silence.
bool CycleRunner::play(std::uint32_t frames, std::uint64_t dueNs) TAVRO_NONBLOCKING {
  m_buffers.prepare(present().description.streams, frames);
  AudioTimeStamp time{};
  time.mSampleTime = static_cast<Float64>(m_framesSinceStart);
  time.mHostTime = dueNs;
  time.mFlags = kAudioTimeStampSampleTimeValid | kAudioTimeStampHostTimeValid;
  return m_clients.play(m_buffers.list(), frames, time);
}

void CycleRunner::countBursts() {
  const std::vector<DriverStream>& streams = present().description.streams;
  const AudioBufferList& list = m_buffers.list();
  bool anyStream = false;
  bool anyBurst = false;
  for (std::size_t i = 0; i < streams.size(); ++i) {
    if (isBurstFormat(streams[i].format)) {
      anyStream = true;
      anyBurst |= !isZero(list.mBuffers[i].mData, list.mBuffers[i].mDataByteSize);
    }
  }
  m_burstCycles.fetch_add(anyStream ? 1 : 0, std::memory_order_relaxed);
  m_bursts.fetch_add(anyBurst ? 1 : 0, std::memory_order_relaxed);
}

void CycleRunner::countCycle(std::uint32_t frames, std::uint64_t dueNs) {
  const double cycleNs = frames * 1e9 / present().sampleRate();
  if (Tavro::HostTime::now() > dueNs + static_cast<std::uint64_t>(cycleNs)) {
    m_lateCycles.fetch_add(1, std::memory_order_relaxed);
  }
  m_framesSinceStart += frames;
  m_cycles.fetch_add(1, std::memory_order_relaxed);
  m_framesPlayed.fetch_add(frames, std::memory_order_relaxed);
}

}  // namespace Platform
