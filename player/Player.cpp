#include "player/Player.h"

#include <algorithm>

#include "player/Interrupt.h"
#include "player/Totals.h"
#include "tavro_core/Log.h"

// The life of a stream: source (decodes ahead) → connect, configure → ready checks fill the queue →
// clock and start → every buffer has come back → stop → disconnect. A failure or an interrupt
// leaves it by an exception, and the same owners undo it.

namespace Player {

namespace {

using Tavro::HostTime::isSimulated;

constexpr std::uint64_t kNanosPerMs = 1'000'000;
constexpr std::uint64_t kReadyCheckNs = 5 * kNanosPerMs;
constexpr std::uint64_t kWatchRealNs = 20 * kNanosPerMs;
constexpr std::uint64_t kWatchSimulatedNs = 200 * kNanosPerMs;
constexpr std::uint64_t kPatienceNs = 10'000 * kNanosPerMs;

std::uint64_t watchNs() { return isSimulated() ? kWatchSimulatedNs : kWatchRealNs; }

/// Watches a count that is to rise as long as playback goes on.
class Progress {
 public:
  void check(std::uint64_t count) {
    const std::uint64_t now = Tavro::HostTime::now();
    if (count != m_count) {
      m_count = count;
      m_since = now;
    } else if (now - m_since > kPatienceNs) {
      throw PlayerError(ExitStatus::PlaybackFailed, "the output has not played for 10 s");
    }
  }

 private:
  std::uint64_t m_count = 0;
  std::uint64_t m_since = Tavro::HostTime::now();
};

}  // namespace

Player::Player(const Options& options, const DeviceChoice& choice, Playlist& playlist,
               const std::string& bundlePath)
    : m_options(options),
      m_choice(choice),
      m_playlist(playlist),
      m_events(m_session.events(), options.eventsPath),
      m_device(choice),
      m_watch(m_session.events()),
      m_bundle(bundlePath),
      m_status(!options.quiet) {
  if (options.volume) {
    m_session.setSetting(Tavro::audioSetting("Output", "Volume"),
                         {Tavro::VariantType::kUInt8, *options.volume});
  }
}

ExitStatus Player::run() {
  ExitStatus status = ExitStatus::Played;
  try {
    status = playAll();
  } catch (const PlayerError& error) {
    tell(error);
    status = error.status;
  } catch (const Tavro::BundleError& error) {
    tell({ExitStatus::PlaybackFailed, error.what()});
    status = ExitStatus::PlaybackFailed;
  }
  m_session.clock().pause();
  m_output.reset();
  return finish(status);
}

ExitStatus Player::playAll() {
  if (m_choice.isFile) {
    m_device.setFileFormat(fileFormatFor(m_playlist.formats(), m_options));
  }
  learnLimits();
  while (const std::optional<StreamFormat> format = m_playlist.nextFormat()) {
    playStream(*format);
  }
  const Tavro::LedgerTotals totals = m_session.ledger().totals();
  if (totals.played != totals.pulled) {
    throw PlayerError(ExitStatus::PlaybackFailed, std::to_string(totals.pulled - totals.played) +
                                                      " of " + std::to_string(totals.pulled) +
                                                      " buffers were not played");
  }
  return m_playlist.hadProblems() ? ExitStatus::InputUnreadable : ExitStatus::Played;
}

/// Closes everything and writes the reports.
ExitStatus Player::finish(ExitStatus status) {
  const AudioDevices::DeviceTotals cycles = m_device.totals();
  const auto attempt = [&](auto&& step) {
    try {
      step();
    } catch (const PlayerError& error) {
      if (status == ExitStatus::Played || status == ExitStatus::InputUnreadable) {
        tell(error);
        status = error.status;
      }
    }
  };
  attempt([this] { m_device.close(); });
  enter(status == ExitStatus::Interrupted ? PlayerState::Interrupted
        : status == ExitStatus::Played || status == ExitStatus::InputUnreadable
            ? PlayerState::Finished
            : PlayerState::Failed);
  attempt([this] {
    if (!m_events.close()) {
      throw PlayerError(ExitStatus::PlaybackFailed, "cannot write all of " + m_options.eventsPath);
    }
  });
  if (!m_options.totalsPath.empty()) {
    const Totals totals{m_choice.identifier,
                        m_choice.simulated,
                        static_cast<int>(status),
                        m_session.ledger().totals(),
                        m_watch.callbacks(),
                        m_watch.silent(),
                        m_watch.silentBetween(),
                        cycles,
                        m_session.events().lost(),
                        m_session.clock().currentTime(),
                        (Tavro::HostTime::now() - m_startNs) / kNanosPerMs};
    attempt([&] { writeTotals(totals, m_options.totalsPath); });
  }
  return status;
}

void Player::playStream(const StreamFormat& format) {
  Tavro::Clock& clock = m_session.clock();
  clock.pause();
  const std::uint64_t before = m_session.ledger().pulledCount();
  Output& output = outputFor(format);
  Source source(m_session, m_playlist, format, clock.currentTime(), m_wake);
  Connection connection(output, source, format);
  enter(PlayerState::Filling);
  if (!fillQueue(connection, source)) {
    return;
  }
  m_watch.beginStream();
  clock.start();
  connection.start();
  enter(PlayerState::Playing);
  playToTheEnd(source, before);
  wait(m_device.latencyNs());
  connection.stop();
  enter(PlayerState::Stopped);
}

/// Until it can be started: the component is ready, or has all there is. False: there is nothing.
bool Player::fillQueue(Connection& connection, const Source& source) {
  Progress progress;
  while (!connection.isReady()) {
    const bool hasAll = source.hasEnded() && source.taken() == source.buffers();
    wait(kReadyCheckNs);  // also for a buffer just taken to reach the queue
    if (hasAll) {
      return source.buffers() > 0;
    }
    progress.check(source.buffers() + source.taken());
  }
  return true;
}

void Player::playToTheEnd(const Source& source, std::uint64_t buffersBefore) {
  Tavro::Ledger& ledger = m_session.ledger();
  Progress progress;
  bool endIsKnown = false;
  for (;;) {
    if (!endIsKnown && source.hasEnded()) {
      endIsKnown = true;
      ledger.notifyWhenReturned(buffersBefore + source.buffers(), m_wake);
    }
    if (endIsKnown && ledger.returnedCount() >= buffersBefore + source.buffers()) {
      return;
    }
    wait(watchNs());
    const Tavro::LedgerTotals totals = ledger.totals();
    progress.check(totals.pulled + totals.pieces);
  }
}

Output& Player::outputFor(const StreamFormat& format) {
  if (!m_output || !m_output->takes(format)) {
    m_output.reset();
    m_output = std::make_unique<Output>(m_bundle, m_session);
  }
  return *m_output;
}

/// How many channels the device takes, and who is mixed down to that.
void Player::learnLimits() {
  m_output = std::make_unique<Output>(m_bundle, m_session);
  const std::uint32_t most = m_output->deviceChannels();
  m_playlist.limit({most, !m_choice.isFile && most >= 2});
  const std::vector<StreamFormat> formats = m_playlist.formats();
  const auto widest = std::max_element(
      formats.begin(), formats.end(),
      [](const StreamFormat& a, const StreamFormat& b) { return a.channels < b.channels; });
  if (widest != formats.end() && widest->channels > most) {
    Tavro::logLine(Tavro::LogLevel::Info, "tavro-play",
                   "%u channels are mixed down to the device's %u", widest->channels, most);
  }
}

/// For `ns` or until woken, watching over the rest meanwhile.
void Player::wait(std::uint64_t ns) {
  Tavro::HostTime::waitUntil(Tavro::HostTime::now() + ns, m_wake, "playback");
  if (Interrupt::isRequested()) {
    throw PlayerError(ExitStatus::Interrupted, "interrupted");
  }
  m_device.check();
  m_status.show({m_session.clock().currentTime() / 1000.0, m_playlist.seconds(),
                 m_session.ledger().totals().held, m_state});
}

void Player::enter(PlayerState state) {
  m_state = state;
  m_events.record(state);
}

void Player::tell(const PlayerError& error) const {
  const bool expected = error.status == ExitStatus::Interrupted;
  Tavro::logLine(expected ? Tavro::LogLevel::Info : Tavro::LogLevel::Error, "tavro-play", "%s",
                 error.what());
}

}  // namespace Player
