// SPDX-License-Identifier: MIT

#include "platform/drivers/alsa/AlsaStream.h"

#include <algorithm>
#include <thread>
#include <utility>

#include "platform/drivers/alsa/AlsaError.h"
#include "time/HostTime.h"

namespace Platform {
namespace {

using namespace std::chrono_literals;

constexpr std::uint32_t kFirstMs = 40;
constexpr snd_pcm_uframes_t kCyclesAtATime = 3;
constexpr std::chrono::milliseconds kBetweenResumes = 50ms;
constexpr int kMostResumes = 40;

}  // namespace

AlsaStream::AlsaStream(AlsaConfig plan, CycleSource& source, std::shared_ptr<AlsaStats> figures,
                       AlsaLoss onLoss)
    : m_plan(std::move(plan)),
      m_figures(std::move(figures)),
      m_onLoss(std::move(onLoss)),
      m_source(source),
      m_writer(m_plan.setup, m_figures->latencyFrames) {}

std::uint32_t AlsaStream::bufferFrames(const AlsaConfig& plan) {
  return plan.setup.format.rate / 1000 * kAlsaBufferMs;
}

AudioDevices::Failure AlsaStream::open() {
  auto opened = m_opened.get_future();
  std::thread([self = shared_from_this()] { self->run(); }).detach();
  if (opened.wait_for(kAlsaTimeout) == std::future_status::ready) {
    return opened.get();
  }
  const Tavro::Lock gate(m_gate);
  m_isEnding = true;
  leaveBehind();
  return {.status = kAudioHardwareBadDeviceError,
          .message = "'alsa:" + m_plan.name + "' does not answer. Choose another device."};
}

void AlsaStream::close() {
  {
    const Tavro::Lock gate(m_gate);
    m_isEnding = true;
  }
  m_wake.notifyOne();
  if (m_ended.get_future().wait_for(kAlsaTimeout) != std::future_status::ready) {
    const Tavro::Lock gate(m_gate);
    leaveBehind();
  }
}

/// Counts the thread as abandoned until it ends.
void AlsaStream::leaveBehind() {
  if (!m_isOver) {
    m_isLeftBehind = true;
    ++m_figures->isAbandoned;
  }
}

void AlsaStream::run() {
  Pcm pcm;
  const AudioDevices::Failure failure = begin(pcm);
  m_opened.set_value(failure);
  if (!failure) {
    play(pcm.get());
    snd_pcm_drop(pcm.get());
    pcm.reset();
  }
  m_ended.set_value();
  const Tavro::Lock gate(m_gate);
  m_isOver = true;
  m_figures->isAbandoned -= m_isLeftBehind ? 1 : 0;
}

/// A digital output that accepts no channel status cannot take bursts.
AudioDevices::Failure AlsaStream::begin(Pcm& pcm) {
  const AlsaErrorCapture chatter;
  if (const int error = openPcm(m_plan.name, m_plan.exactly, pcm); error < 0) {
    const bool lacksStatus = m_plan.exactly && error == -EINVAL;
    return {.status = lacksStatus ? OSStatus{kAudioDeviceUnsupportedFormatError} : statusOf(error),
            .message = "'alsa:" + m_plan.name + "' cannot be opened: " + chatter.explain(error) +
                       ". " + remedyFor(error)};
  }
  snd_pcm_uframes_t bufferFrames = 0;
  if (const int error = setUp(pcm.get(), m_plan.setup, &bufferFrames); error < 0) {
    pcm.reset();  // before the report, so that the next open does not find it in use
    return {.status = kAudioDeviceUnsupportedFormatError,
            .message = "'alsa:" + m_plan.name + "' rejected " +
                       std::to_string(m_plan.setup.format.channels) + " channels at " +
                       std::to_string(m_plan.setup.format.rate) + " Hz: " + chatter.explain(error) +
                       ". Another program may be using it with different settings."};
  }
  m_writer.setPositions(arrange(pcm.get(), m_plan.positions), inLayersOrder(m_plan.positions));
  m_leastRoom = std::min<snd_pcm_uframes_t>(m_plan.setup.cycleFrames, bufferFrames / 2);
  m_pause = lengthOf(std::min<snd_pcm_uframes_t>(m_plan.setup.cycleFrames, bufferFrames / 4));
  return {};
}

/// Runs until it is ended, no client plays any more, or the device is lost.
void AlsaStream::play(snd_pcm_t* pcm) {
  snd_pcm_uframes_t mostCycles = 0;
  while (!m_nobodyPlays) {
    if (m_writer.isAtFront()) {
      const auto firstFrames = m_plan.setup.format.rate / 1000 * kFirstMs;
      mostCycles = std::max(firstFrames / m_plan.setup.cycleFrames, 1U);
    }
    int error = fill(pcm, mostCycles);
    if (error < 0) {
      error = recover(pcm, error);
    }
    if (error < 0) {
      tellLoss(error);
      return;
    }
    mostCycles = kCyclesAtATime;
    if (!sleepsThrough(m_pause)) {
      return;
    }
  }
}

/// Runs up to `mostCycles` cycles while there is room. Returns 0 or libasound's error.
int AlsaStream::fill(snd_pcm_t* pcm, snd_pcm_uframes_t mostCycles) {
  int error = m_writer.flush(pcm);
  for (snd_pcm_uframes_t i = 0; i < mostCycles && error == 0 && !m_writer.hasPending(); ++i) {
    const snd_pcm_sframes_t room = snd_pcm_avail(pcm);
    if (room < 0) {
      return static_cast<int>(room);
    }
    if (static_cast<snd_pcm_uframes_t>(room) < m_leastRoom || !cycle()) {
      return 0;
    }
    error = m_writer.flush(pcm);
  }
  return error;
}

bool AlsaStream::cycle() {
  const Tavro::Lock gate(m_gate);
  if (m_isEnding) {
    return false;
  }
  m_nobodyPlays = m_source.cycle(CycleSource::kUsualFrames, Tavro::HostTime::now()) == 0;
  return !m_nobodyPlays;
}

/// Only stores them, as the device's I/O lock is held.
void AlsaStream::write(const std::byte* frames, std::uint32_t frameCount) {
  m_writer.store(frames, frameCount);
}

/// Makes the PCM ready again, without earlier data unless it resumes. Returns 0 or the error.
int AlsaStream::recover(snd_pcm_t* pcm, int error) {
  if (error == -EINTR || error == -EAGAIN) {
    return 0;
  }
  if (error == -ESTRPIPE) {
    const int resumed = resume(pcm);
    if (resumed == 0 || resumed == -ENODEV) {
      return resumed;
    }
  } else if (error == -EPIPE) {
    m_figures->underruns.fetch_add(1, std::memory_order_relaxed);
  } else {
    return error;
  }
  m_writer.restart();
  const int prepared = snd_pcm_prepare(pcm);
  return prepared == -ESTRPIPE || prepared == -EAGAIN ? 0 : prepared;  // is retried
}

/// A device that cannot resume reports so at once; one that is busy waking up is retried for up to
/// 2 s. The state is checked, as libasound may make up a plug-in's success.
int AlsaStream::resume(snd_pcm_t* pcm) {
  int error = snd_pcm_resume(pcm);
  for (int i = 0; error == -EAGAIN && i < kMostResumes && sleepsThrough(kBetweenResumes); ++i) {
    error = snd_pcm_resume(pcm);
  }
  return error == 0 && snd_pcm_state(pcm) == SND_PCM_STATE_SUSPENDED ? -ENOSYS : error;
}

/// Returns false if the stream should end.
bool AlsaStream::sleepsThrough(std::chrono::nanoseconds time) {
  const auto deadline = Tavro::Condition::Clock::now() + time;
  const Tavro::Lock gate(m_gate);
  while (!m_isEnding && m_wake.waitUntil(m_gate, deadline)) {
  }
  return !m_isEnding;
}

std::chrono::nanoseconds AlsaStream::lengthOf(std::uint64_t frames) const {
  return std::chrono::nanoseconds(frames * 1'000'000'000 / m_plan.setup.format.rate);
}

void AlsaStream::tellLoss(int error) {
  const Tavro::Lock gate(m_gate);
  if (!m_isEnding) {
    m_onLoss({.status = kAudioHardwareBadDeviceError,
              .message = "the device 'alsa:" + m_plan.name +
                         "' is lost: " + snd_strerror(error == -EBADFD ? -ENODEV : error)});
  }
}

}  // namespace Platform
