// SPDX-License-Identifier: MIT

#include "player/cli/Player.h"

#include <fmt/format.h>

#include <algorithm>
#include <system_error>
#include <utility>

#include "player/device/Passthrough.h"
#include "player/terminal/SignalHandler.h"
#include "tavro_core/Log.h"
#include "time/Nanoseconds.h"
#include "time/RealTime.h"

namespace Player {

namespace {

constexpr std::uint64_t kDeviceLookNs = 20 * Tavro::kNanosPerMs;

void inform(const std::string& line) {
  Tavro::logLine(Tavro::LogLevel::Info, "tavro-play", "%s", line.c_str());
}

}  // namespace

Player::Player(const Options& options, const DeviceChoice& choice, Playlist& playlist,
               const std::string& bundlePath)
    : m_options(options),
      m_choice(choice),
      m_playlist(playlist),
      m_device(choice, [this] { m_wake.notify(); }),
      m_events(m_session.events(), options.eventsPath),
      m_watch(m_session.events(), m_session.ledger()),
      m_bundlePath(bundlePath),
      m_status(!options.quiet),
      m_stage{m_session,
              playlist,
              m_device,
              m_watch,
              m_wake,
              m_counts,
              options.bufferMs,
              [this](std::uint64_t ns) { wait(ns); },
              [this](PlayerState state) { enter(state); },
              [this](std::size_t position) { enterTrack(position); },
              [this] { loadBundle(); }},
      m_controls(options, m_session.clock(), !options.quiet && !choice.simulated,
                 [this](std::uint64_t ns) { wait(ns); }) {
  if (options.volume) {
    m_session.setSetting(Tavro::audioSetting(Tavro::kVolumeName),
                         {Tavro::VariantType::kUInt8, *options.volume});
  }
}

ExitStatus Player::run() {
  ExitStatus status = ExitStatus::Played;
  try {
    status = playAll();
  } catch (const StoppedByUser&) {
    status = m_playlist.hadProblems() ? ExitStatus::InputUnreadable : ExitStatus::Played;
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
  planPassthrough();
  const std::vector<StreamFormat> decoded = m_playlist.decodedFormats();
  if (m_choice.isFile && !decoded.empty()) {
    m_device.setFileFormat(fileFormatFor(decoded, m_options));
  }
  learnLimits();
  while (const std::optional<StreamFormat> format = m_playlist.nextFormat()) {
    playStream(*format);
  }
  requireAllPlayed();
  return m_playlist.hadProblems() ? ExitStatus::InputUnreadable : ExitStatus::Played;
}

std::string Player::reasonToDecode(const CodecInfo& coding,
                                   const AudioDevices::DeviceDescription& device) const {
  if (m_options.passthrough == PassthroughMode::Off) {
    return "passthrough is off";
  }
  return device.id == m_refusesBursts ? "the device rejected it" : refusalOf(coding, device);
}

/// Decides which inputs are passed to the device unmodified.
void Player::planPassthrough() {
  const AudioDevices::DeviceDescription device = m_device.describe();
  m_plannedDevice = device.id;
  m_plannedChannels = device.labels.size();
  m_playlist.passThrough([&](const std::string& path, const CodecInfo& coding) {
    const std::string reason = reasonToDecode(coding, device);
    if (!reason.empty()) {
      decodeInstead(path, coding, reason);
    }
    return reason.empty();
  });
  if (m_options.volume && m_playlist.hasPassthrough()) {
    inform("the volume does not affect AC-3 passthrough");
  }
}

/// Logs the reason if passthrough was expected; throws if bursts are required.
void Player::decodeInstead(const std::string& path, const CodecInfo& coding,
                           const std::string& reason) const {
  if (m_options.passthrough == PassthroughMode::On || m_choice.isBurstFile) {
    throw PlayerError(ExitStatus::PlaybackFailed, path + " cannot be passed through: " + reason);
  }
  if (m_options.passthrough == PassthroughMode::Auto && isForReceivers(coding)) {
    inform(path + ": decoded: " + reason);
  }
}

/// Throws unless each PCM buffer was played once, and each burst handed over and taken by the
/// device once.
void Player::requireAllPlayed() {
  const Tavro::LedgerTotals totals = m_session.ledger().totals();
  const auto require = [](const char* done, std::uint64_t count, std::uint64_t wanted,
                          const char* what) {
    if (count != wanted) {
      throw PlayerError(ExitStatus::PlaybackFailed,
                        fmt::format("{} {} of {} {}", done, count, wanted, what));
    }
  };
  require("played", totals.played, m_counts.pcmBuffers, "buffers");
  require("handed over", totals.withoutReport, m_counts.bursts, "AC-3 frames");
  require("the device accepted", m_device.bursts(), m_counts.bursts, "AC-3 frames");
}

/// Throws if the device found faulty bursts; logs the first ones.
void Player::requireNoViolation() const {
  const AudioDevices::BurstReport report = m_device.burstReport();
  for (const AudioDevices::BurstViolation& violation : report.first) {
    Tavro::logLine(Tavro::LogLevel::Error, "tavro-play", "burst %llu: %s",
                   static_cast<unsigned long long>(violation.burst), violation.reason.c_str());
  }
  if (report.violations > 0) {
    throw PlayerError(ExitStatus::PlaybackFailed,
                      fmt::format("{} of {} bursts were faulty", report.violations, report.bursts));
  }
}

/// Closes everything and writes the reports.
ExitStatus Player::finish(ExitStatus status) {
  m_device.endWithSound(m_watch.padding(), m_watch.rate());
  const AudioDevices::DeviceTotals cycles = m_device.totals();
  const PassthroughTotals bursts = burstTotals();
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
  attempt([this] { requireNoViolation(); });
  attempt([&] {
    m_device.close();
    if (!m_choice.replaces.empty() && cycles.framesWritten > 0) {
      inform("replaced " + m_choice.replaces);
    }
  });
  enter(isInterruption(status) ? PlayerState::Interrupted
        : status == ExitStatus::Played || status == ExitStatus::InputUnreadable
            ? PlayerState::Finished
            : PlayerState::Failed);
  attempt([this] {
    if (!m_events.close()) {
      throw PlayerError(ExitStatus::PlaybackFailed, "cannot write all of " + m_options.eventsPath);
    }
  });
  if (!m_options.jsonPath.empty()) {
    const RunReport totals{m_choice.identifier,
                           m_choice.simulated,
                           static_cast<int>(status),
                           m_session.ledger().totals(),
                           bursts,
                           m_watch.callbacks(),
                           m_watch.silent(),
                           m_watch.silentBetween(),
                           m_counts.seeks,
                           cycles,
                           m_session.events().lost(),
                           m_session.clock().currentTime(),
                           (Tavro::HostTime::now() - m_startNs) / Tavro::kNanosPerMs};
    attempt([&] { writeRunReport(totals, m_options.jsonPath); });
  }
  return status;
}

/// Plays one stream. If the device rejects an AC-3 format that it offered, decodes it instead,
/// unless bursts are required.
void Player::playStream(const StreamFormat& format) {
  m_session.clock().pause();
  const std::size_t position = m_playlist.position();
  enterTrack(position);
  m_streamChannels = format.bursts ? 0 : format.channels;
  try {
    Playback playback(
        m_stage, [&]() -> Output& { return outputFor(format); }, format, m_spot);
    playback.run([this](Playback& playing) {
      if (!playing.isPaused() && wantsAnotherPlan()) {
        playing.giveUp();
      }
      return m_controls.serve(playing);
    });
    m_spot.reset();
  } catch (const FormatRefused& refused) {
    wait(0);
    if (!m_device.isThere()) {  // lost meanwhile, hence the refusal
      goOnAt(position);
      return;
    }
    if (!format.bursts) {
      throw;
    }
    const std::string reason = m_device.startRefusal();
    const std::string line = refused.what() + (reason.empty() ? "" : ": " + reason);
    m_output.reset();
    m_device.restoreFormats();
    if (m_options.passthrough == PassthroughMode::On || m_choice.isFile) {
      throw PlayerError(refused.status, line);
    }
    inform(line + "; decoded instead");
    m_refusesBursts = m_device.id();
    m_playlist.goTo(position);
    m_playlist.passThrough([](const std::string&, const CodecInfo&) { return false; });
  } catch (const DeviceChanged& changed) {
    m_spot = changed.goesOnAt ? changed.goesOnAt : m_spot;
    goOnAt(m_spot ? m_spot->position : position);
  }
}

/// Waits for a device and continues there, with bursts if it accepts them. If bursts are required,
/// waits for a device that does.
void Player::goOnAt(std::size_t position) {
  m_output.reset();
  enter(PlayerState::Paused);
  const bool mustPassThrough = m_options.passthrough == PassthroughMode::On;
  while (!m_device.isThere() || (mustPassThrough && wantsAnotherPlan())) {
    wait(kDeviceLookNs);
  }
  m_playlist.goTo(position);
  planPassthrough();
  learnLimits();
}

/// Returns whether a device change affects passthrough, or a new device's channel count the mix.
bool Player::wantsAnotherPlan() const {
  if (m_choice.isFile || !m_device.isThere()) {
    return false;
  }
  const AudioDevices::DeviceDescription device = m_device.describe();
  const bool passesOther = m_playlist.wouldDiffer([&](const std::string&, const CodecInfo& coding) {
    return reasonToDecode(coding, device).empty();
  });
  const std::size_t channels = device.labels.size();
  const bool needsOther =
      channels < m_streamChannels || (m_isMixedDown && channels > m_plannedChannels);
  return passesOther || (device.id != m_plannedDevice && needsOther);
}

/// Call before the device is closed.
PassthroughTotals Player::burstTotals() {
  const AudioDevices::BurstReport report = m_device.burstReport();
  PassthroughTotals totals;
  totals.framesRead = m_counts.bursts;
  totals.sentAgain = m_counts.sentAgain;
  totals.burstsHandedOver = m_session.ledger().withoutReportCount();
  totals.burstsAccepted = m_device.bursts() - report.violations;
  totals.violations = report.violations;
  totals.pauses = report.pauses;
  return totals;
}

void Player::loadBundle() {
  if (!m_bundle) {
    m_bundle.emplace(m_bundlePath);
  }
}

Output& Player::outputFor(const StreamFormat& format) {
  if (!m_output || !m_output->takes(format)) {
    m_output.reset();
    m_output = std::make_unique<Output>(*m_bundle, m_session);
  }
  return *m_output;
}

/// Reads the device's channel count, and finds out if decoded inputs must be mixed down to it.
void Player::learnLimits() {
  const std::vector<StreamFormat> formats = m_playlist.decodedFormats();
  const std::uint32_t most = m_device.channels();
  m_playlist.limit({most, !m_choice.isFile && most >= 2});
  const auto widest = std::max_element(
      formats.begin(), formats.end(),
      [](const StreamFormat& a, const StreamFormat& b) { return a.channels < b.channels; });
  m_isMixedDown = widest != formats.end() && widest->channels > most;
  if (m_isMixedDown) {
    Tavro::logLine(Tavro::LogLevel::Info, "tavro-play",
                   "%u channels are mixed down to the device's %u", widest->channels, most);
  }
}

/// Waits for `ns` or until woken; then checks for signals and device changes.
void Player::wait(std::uint64_t ns) {
  Tavro::HostTime::waitUntil(Tavro::HostTime::now() + ns, m_wake, "playback");
  if (const std::optional<ExitStatus> status = SignalHandler::requested()) {
    throw PlayerError(*status, "interrupted");
  }
  const std::string news = m_device.news();
  m_device.check();
  if (!news.empty()) {
    inform(news);
  }
  tellOfRealTime();
  m_status.show({m_session.clock().currentTime() / 1000.0, m_playlist.seconds(),
                 m_session.ledger().totals().held, m_state});
}

/// Logs once, after the device's thread has requested it.
void Player::tellOfRealTime() {
  const Tavro::RealTime::Told told = Tavro::RealTime::told();
  if (!told.scheduling || std::exchange(m_toldOfRealTime, true)) {
    return;
  }
  const auto inWords = [](std::optional<int> answer) -> std::string {
    return answer.value_or(0) == 0 ? "granted" : std::generic_category().message(*answer);
  };
  Tavro::logLine(Tavro::LogLevel::Verbose, "tavro-play",
                 "real-time scheduling: %s; locked memory: %s", inWords(told.scheduling).c_str(),
                 inWords(told.memory).c_str());
}

void Player::enter(PlayerState state) {
  m_state = state;
  m_events.record(state);
}

void Player::enterTrack(std::size_t position) {
  if (std::exchange(m_track, position) != position) {
    AudioDevices::setStreamName(m_playlist.nameOf(position));
  }
}

void Player::tell(const PlayerError& error) const {
  const bool expected = isInterruption(error.status);
  Tavro::logLine(expected ? Tavro::LogLevel::Info : Tavro::LogLevel::Error, "tavro-play", "%s",
                 error.what());
}

}  // namespace Player
