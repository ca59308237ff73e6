// SPDX-License-Identifier: MIT

#include "player/engine/Playback.h"

#include <utility>

#include "player/engine/Progress.h"
#include "player/source/BurstSource.h"
#include "player/source/PcmSource.h"
#include "time/Nanoseconds.h"

// The life of a stream: source (makes buffers ahead) → connect, configure → ready checks fill the
// queue → clock and start → every buffer returned → stop → disconnect. On a failure or an interrupt
// an exception ends it, and the owners' destructors clean up.

namespace Player {

namespace {

using Tavro::HostTime::isSimulated;

constexpr std::uint64_t kReadyCheckNs = 5 * Tavro::kNanosPerMs;
constexpr std::uint64_t kFirstBuffersNs = 20 * Tavro::kNanosPerMs;
constexpr std::uint64_t kWatchRealNs = 20 * Tavro::kNanosPerMs;
constexpr std::uint64_t kWatchSimulatedNs = 200 * Tavro::kNanosPerMs;

constexpr std::uint64_t kHearingPatienceNs = 1'000 * Tavro::kNanosPerMs;

// A component with a full queue asks again once the device has consumed a burst.
constexpr std::uint64_t kQuietNs = 200 * Tavro::kNanosPerMs;

std::uint64_t watchNs() { return isSimulated() ? kWatchSimulatedNs : kWatchRealNs; }

std::unique_ptr<Source> makeSource(const PlaybackContext& stage, const StreamFormat& format,
                                   const std::optional<TrackPosition>& spot) {
  const Beginning beginning{stage.session.clock().currentTime(), spot};
  if (format.bursts) {
    return std::make_unique<BurstSource>(stage.session, stage.playlist, format, beginning,
                                         stage.wake);
  }
  return std::make_unique<PcmSource>(stage.session, stage.playlist, format, stage.bufferMs,
                                     beginning, stage.wake);
}

}  // namespace

Playback::Playback(const PlaybackContext& stage, const GetOutput& output,
                   const StreamFormat& format, const std::optional<TrackPosition>& spot)
    : m_stage(stage),
      m_returnedBefore(stage.session.ledger().pulledCount()),
      m_format(format),
      m_source(makeSource(stage, format, spot)),
      m_device(stage.device.id()),
      m_connection(whenMade(output), *m_source, format),
      m_hold(stage, *m_source, m_connection) {}

Playback::~Playback() {
  (m_format.bursts ? m_stage.counts.bursts : m_stage.counts.pcmBuffers) +=
      m_isGivenUp ? m_source->taken() : m_source->buffers();
  m_stage.counts.sentAgain += m_sentAgain;
  m_stage.counts.seeks += m_seeks;
}

/// Waits for the first buffers, then gets the output: a feeder that finds nothing to do sleeps for
/// longer than all of this takes, so its first poll must find buffers.
Output& Playback::whenMade(const GetOutput& output) {
  const std::uint64_t deadline = Tavro::HostTime::now() + kFirstBuffersNs;
  while (!m_source->isAhead() && Tavro::HostTime::now() < deadline) {
    m_stage.wait(kFirstBuffersNs);
  }
  // A burst device runs from its configuration on, on a thread of another kind.
  if (!m_format.bursts) {
    m_firstTurn.emplace();
  }
  return output();
}

void Playback::run(const Between& between) {
  m_stage.enter(PlayerState::Filling);
  m_stage.watch.beginStream(m_format);
  if (!start()) {
    return;
  }
  playToTheEnd(between);
  waitUntilHeard();
  m_connection.stop();
  m_stage.enter(PlayerState::Stopped);
}

/// Returns false if there is nothing to play.
bool Playback::start() {
  // A burst device runs already: the clock must run before the first burst.
  if (m_format.bursts) {
    m_timeBase.emplace(m_stage.session.clock(), m_stage.device, m_format.rate);
    m_stage.session.clock().start();
  }
  if (!fillQueue()) {
    return false;
  }
  m_stage.session.clock().start();
  m_connection.start();
  m_stage.enter(PlayerState::Playing);
  return true;
}

/// Waits until playback can start: the component is ready, and its queue is full or holds all there
/// is. With bursts it need not be full, as the running device empties it. Returns false if there is
/// nothing to play.
bool Playback::fillQueue() {
  Progress progress;
  const auto canStart = [this] {
    return m_connection.isReady() && (m_format.bursts || m_source->isQueued());
  };
  bool isReady = canStart();
  m_firstTurn.reset();
  for (; !isReady; isReady = canStart()) {
    const bool hasAll = m_source->hasGivenAll();
    m_stage.wait(kReadyCheckNs);  // also lets a buffer just taken reach the queue
    if (hasAll) {
      return m_source->buffers() > 0;
    }
    progress.check(m_source->buffers() + m_source->taken());
  }
  return true;
}

void Playback::playToTheEnd(const Between& between) {
  Tavro::Ledger& ledger = m_stage.session.ledger();
  Progress progress;
  while (!m_source->hasEnded() || ledger.returnedCount() < toReturn(m_source->buffers())) {
    if (m_source->hasEnded()) {
      ledger.notifyWhenReturned(toReturn(m_source->buffers()), m_stage.wake);
    }
    m_stage.wait(watchNs());
    if (const std::optional<std::size_t> position = m_source->presentPosition()) {
      m_stage.enterTrack(*position);
    }
    const bool isHeld = goWithDevice();
    if (between(*this) || isHeld) {
      progress = {};
    }
    const Tavro::LedgerTotals totals = ledger.totals();
    progress.check(totals.pulled + totals.pieces);
  }
}

void Playback::giveUp() {
  takeBack();
  m_isGivenUp = true;
  throw DeviceChanged{m_source->spot()};
}

/// Returns whether playback waits for a device.
bool Playback::goWithDevice() {
  const Device& device = m_stage.device;
  if (m_format.bursts && (!device.isThere() || device.id() != m_device)) {
    giveUp();
  }
  if (!m_isPaused && !m_format.bursts) {
    m_hold.update();
  }
  return !device.plays();
}

/// Waits for everything handed over, with a timeout, as the device may be stalled.
void Playback::waitUntilHeard() {
  const Device& device = m_stage.device;
  const std::uint64_t frames = device.framesToHear();
  const std::uint64_t patienceNs = device.latencyNs() + kHearingPatienceNs;
  RunningTime waited;
  while (device.framesHeard() < frames && waited.elapsed() < patienceNs) {
    m_stage.wait(kReadyCheckNs);
  }
}

/// Returns the ledger's count of returned buffers when `ofThisStream` of this stream are returned.
std::uint64_t Playback::toReturn(std::uint64_t ofThisStream) const {
  return m_returnedBefore + ofThisStream + m_takenBack;
}

void Playback::pause() {
  if (m_format.bursts) {
    m_toSendAgain = takeBack();
  } else {
    m_connection.stop();
    m_stage.session.clock().pause();
  }
  m_isPaused = true;
  m_stage.enter(PlayerState::Paused);
}

void Playback::resume() {
  m_isPaused = false;
  m_hold.reset();
  m_sentAgain += std::exchange(m_toSendAgain, 0);
  m_source->release();
  start();
}

void Playback::seek(const Seek& to) {
  m_stage.enter(PlayerState::Seeking);
  takeBack();
  m_toSendAgain = 0;
  m_source->seek(to);
  m_stage.session.clock().set(m_source->nextStampMs());
  ++m_seeks;
  if (m_isPaused) {
    m_stage.enter(PlayerState::Paused);
  } else {
    resume();
  }
}

/// Takes back everything that the device has not consumed, so that only silence follows. Returns
/// the number of buffers taken back.
std::uint64_t Playback::takeBack() {
  Tavro::Clock& clock = m_stage.session.clock();
  const Tavro::Ledger& ledger = m_stage.session.ledger();
  m_source->hold();
  if (!m_format.bursts) {
    m_connection.stop();
  } else if (!m_isPaused) {  // if paused, it asks for nothing and has nothing
    awaitQuiet();
  }
  m_connection.flush();
  Progress progress;
  while (ledger.returnedCount() < toReturn(m_source->taken())) {  // one may still be in transit
    m_stage.wait(kReadyCheckNs);
    progress.check(ledger.returnedCount());
  }
  m_stage.watch.flushed();
  clock.pause();
  m_timeBase.reset();
  const std::uint64_t count = m_source->rewind();
  m_takenBack += count;
  clock.set(m_source->nextStampMs());
  return count;
}

/// Waits until no buffer is in transit: the device keeps running, and would consume a buffer that
/// reaches the emptied queue out of order.
void Playback::awaitQuiet() {
  const std::uint64_t deadline = Tavro::HostTime::now() + kQuietNs;
  while (!m_source->isQuiet() && Tavro::HostTime::now() < deadline) {
    m_stage.wait(kReadyCheckNs);
  }
}

}  // namespace Player
