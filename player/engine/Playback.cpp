#include "player/engine/Playback.h"

#include <utility>

#include "player/source/PcmSource.h"
#include "time/Nanoseconds.h"

// The life of a stream: source (makes buffers ahead) → connect, configure → ready checks fill the
// queue → clock and start → every buffer has come back → stop → disconnect. A failure or an
// interrupt leaves it by an exception, and the same owners undo it.

namespace Player {

namespace {

using Tavro::HostTime::isSimulated;

constexpr std::uint64_t kReadyCheckNs = 5 * Tavro::kNanosPerMs;
constexpr std::uint64_t kFirstBuffersNs = 20 * Tavro::kNanosPerMs;
constexpr std::uint64_t kWatchRealNs = 20 * Tavro::kNanosPerMs;
constexpr std::uint64_t kWatchSimulatedNs = 200 * Tavro::kNanosPerMs;

constexpr std::uint64_t kHearingPatienceNs = 1'000 * Tavro::kNanosPerMs;

// A component with a full queue asks again when the device has taken a burst.
constexpr std::uint64_t kQuietNs = 200 * Tavro::kNanosPerMs;

// Longer than between two cycles of any device, shorter than the clock may lead a full queue.
constexpr std::uint64_t kCyclesAwayNs = 250 * Tavro::kNanosPerMs;

std::uint64_t watchNs() { return isSimulated() ? kWatchSimulatedNs : kWatchRealNs; }

}  // namespace

bool CycleFlow::goOn(const Device& device) {
  const std::uint64_t cycles = device.cycles();
  if (std::exchange(m_cycles, cycles) != cycles) {
    m_since.restart();
  }
  return isSimulated() || m_since.elapsed() < kCyclesAwayNs;
}

Playback::Playback(const Stage& stage, const GetOutput& output, const StreamFormat& format,
                   const std::optional<Spot>& spot)
    : m_stage(stage),
      m_returnedBefore(stage.session.ledger().pulledCount()),
      m_bursts(format.bursts ? std::make_unique<BurstSource>(stage.session, stage.playlist, format,
                                                             beginning(spot), stage.wake)
                             : nullptr),
      m_pcm(format.bursts
                ? nullptr
                : std::make_unique<PcmSource>(stage.session, stage.playlist, format, stage.bufferMs,
                                              beginning(spot), stage.wake)),
      m_source(m_bursts ? static_cast<Source*>(m_bursts.get()) : m_pcm.get()),
      m_format(format),
      m_device(stage.device.id()),
      m_connection(whenMade(output), *m_source, format) {}

Beginning Playback::beginning(const std::optional<Spot>& spot) const {
  return {m_stage.session.clock().currentTime(), spot};
}

Playback::~Playback() {
  (m_bursts ? m_stage.counts.bursts : m_stage.counts.pcmBuffers) +=
      m_isGivenUp ? m_source->taken() : m_source->buffers();
  m_stage.counts.sentAgain += m_sentAgain;
  m_stage.counts.seeks += m_seeks;
}

/// A component's feeder that finds nothing to do rests, for longer than all of this takes: it is to
/// find its first buffers at its first look.
Output& Playback::whenMade(const GetOutput& output) {
  m_stage.loadBundle();  // meanwhile they are made
  const std::uint64_t deadline = Tavro::HostTime::now() + kFirstBuffersNs;
  while (!m_source->isAhead() && Tavro::HostTime::now() < deadline) {
    m_stage.wait(kFirstBuffersNs);
  }
  // A device that takes bursts runs from their configuration on, and on a thread of its own kind.
  if (!m_bursts) {
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

/// False: there is nothing to play.
bool Playback::start() {
  // A device that takes bursts runs already: the clock has to be there before the first one.
  if (m_bursts) {
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

/// Until it can be started: the component is ready, and its queue full, or it has all there is. A
/// device that takes bursts runs already, and takes them from the queue.
bool Playback::fillQueue() {
  Progress progress;
  const auto canStart = [this] {
    return m_connection.isReady() && (m_bursts != nullptr || m_source->isQueued());
  };
  bool isReady = canStart();
  m_firstTurn.reset();
  for (; !isReady; isReady = canStart()) {
    const bool hasAll = m_source->hasGivenAll();
    m_stage.wait(kReadyCheckNs);  // also for a buffer just taken to reach the queue
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

/// Answers whether playback stands for want of a device.
bool Playback::goWithDevice() {
  const Device& device = m_stage.device;
  if (m_bursts && (!device.isThere() || device.id() != m_device)) {
    giveUp();
  }
  if (!m_isPaused && !m_bursts) {
    keepClock(device.plays() && m_cycles.goOn(device));
  }
  return !device.plays();
}

/// The clock goes by host time when no cycle comes, and whoever is late then is dropped.
void Playback::keepClock(bool plays) {
  if (plays != m_isHeld) {
    return;
  }
  m_isHeld = !plays;
  if (m_isHeld) {
    m_stage.session.clock().pause();
    m_stage.session.clock().set(m_source->presentStampMs());
  } else {
    m_stage.session.clock().start();
    m_connection.start();
  }
  m_stage.enter(m_isHeld ? PlayerState::Paused : PlayerState::Playing);
}

/// All that was handed over; not for ever, as a device may stand still.
void Playback::waitUntilHeard() {
  const Device& device = m_stage.device;
  const std::uint64_t frames = device.framesToHear();
  const std::uint64_t patienceNs = device.latencyNs() + kHearingPatienceNs;
  RunningTime waited;
  while (device.framesHeard() < frames && waited.elapsed() < patienceNs) {
    m_stage.wait(kReadyCheckNs);
  }
}

/// Of all buffers ever pulled, when so many of this stream are done with.
std::uint64_t Playback::toReturn(std::uint64_t ofThisStream) const {
  return m_returnedBefore + ofThisStream + m_takenBack;
}

void Playback::pause() {
  if (m_bursts) {
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
  m_isHeld = false;
  m_cycles = {};
  m_sentAgain += std::exchange(m_toSendAgain, 0);
  m_source->letGo();
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

/// Everything that the device has not consumed, so that only silence follows. Answers how many
/// buffers that were.
std::uint64_t Playback::takeBack() {
  Tavro::Clock& clock = m_stage.session.clock();
  const Tavro::Ledger& ledger = m_stage.session.ledger();
  m_source->hold();
  if (m_pcm) {
    m_connection.stop();
  } else if (!m_isPaused) {  // then it asks for nothing, and has nothing
    awaitQuiet();
  }
  m_connection.flush();
  Progress progress;
  while (ledger.returnedCount() < toReturn(m_source->taken())) {  // one may still be on its way
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

/// The device goes on meanwhile: what reached an emptied queue would be consumed out of turn.
void Playback::awaitQuiet() {
  const std::uint64_t deadline = Tavro::HostTime::now() + kQuietNs;
  while (!m_source->isQuiet() && Tavro::HostTime::now() < deadline) {
    m_stage.wait(kReadyCheckNs);
  }
}

}  // namespace Player
