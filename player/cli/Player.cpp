// SPDX-License-Identifier: MIT

#include "player/cli/Player.h"

#include <fmt/format.h>

#include <system_error>
#include <utility>

#include "player/base/ProgramLog.h"
#include "player/terminal/SignalHandler.h"
#include "time/Nanoseconds.h"
#include "time/RealTime.h"

namespace Player {

namespace {

constexpr std::uint64_t kDeviceLookNs = 20 * Tavro::kNanosPerMs;

}  // namespace

Player::Player(const Options& options, const DeviceChoice& choice, Playlist& playlist,
               Tavro::Bundle& bundle)
    : m_options(options),
      m_choice(choice),
      m_playlist(playlist),
      m_device(choice, [this] { m_wake.notify(); }),
      m_plan(options, choice, m_device, playlist),
      m_events(m_session.events(), options.eventsPath),
      m_watch(m_session.events(), m_session.ledger()),
      m_bundle(bundle),
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
              [this](std::size_t position) { enterTrack(position); }},
      m_controls(options, m_session.clock(), !options.quiet && !choice.simulated,
                 [this](std::uint64_t ns) { wait(ns); }),
      m_report(options, choice, m_session, m_device, m_events, m_watch, m_counts) {
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
    logLine(isInterruption(error.status) ? Tavro::LogLevel::Info : Tavro::LogLevel::Error,
            error.what());
    status = error.status;
  } catch (const Tavro::BundleError& error) {
    logError(error.what());
    status = ExitStatus::PlaybackFailed;
  }
  m_session.clock().pause();
  m_output.reset();
  return m_report.finish(status);
}

ExitStatus Player::playAll() {
  m_plan.planPassthrough();
  const std::vector<StreamFormat> decoded = m_playlist.decodedFormats();
  if (m_choice.isFile && !decoded.empty()) {
    m_device.setFileFormat(fileFormatFor(decoded, m_options));
  }
  m_plan.planChannels();
  while (const std::optional<StreamFormat> format = m_playlist.nextFormat()) {
    playStream(*format);
  }
  m_report.requireAllPlayed();
  return m_playlist.hadProblems() ? ExitStatus::InputUnreadable : ExitStatus::Played;
}

/// Plays one stream. If the device rejects an AC-3 format that it offered, decodes it instead,
/// unless bursts are required.
void Player::playStream(const StreamFormat& format) {
  m_session.clock().pause();
  const std::size_t position = m_playlist.position();
  enterTrack(position);
  m_plan.beginStream(format);
  try {
    Playback playback(
        m_stage, [&]() -> Output& { return outputFor(format); }, format, m_spot);
    playback.run([this](Playback& playing) {
      if (!playing.isPaused() && m_plan.isOutdated()) {
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
    logInfo(line + "; decoded instead");
    m_playlist.goTo(position);
    m_plan.decodeAll();
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
  while (!m_device.isThere() || (mustPassThrough && m_plan.isOutdated())) {
    wait(kDeviceLookNs);
  }
  m_playlist.goTo(position);
  m_plan.planPassthrough();
  m_plan.planChannels();
}

Output& Player::outputFor(const StreamFormat& format) {
  if (!m_output || !m_output->takes(format)) {
    m_output.reset();
    m_output = std::make_unique<Output>(m_bundle, m_session);
  }
  return *m_output;
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
    logInfo(news);
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
  logLine(Tavro::LogLevel::Verbose, fmt::format("real-time scheduling: {}; locked memory: {}",
                                                inWords(told.scheduling), inWords(told.memory)));
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

}  // namespace Player
