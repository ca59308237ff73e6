// SPDX-License-Identifier: MIT

#include "player/cli/FinalReport.h"

#include <fmt/format.h>

#include "player/base/ProgramLog.h"
#include "time/Nanoseconds.h"

namespace Player {

namespace {

bool isFailure(ExitStatus status) {
  return status != ExitStatus::Played && status != ExitStatus::InputUnreadable;
}

PlayerState finalState(ExitStatus status) {
  if (isInterruption(status)) {
    return PlayerState::Interrupted;
  }
  return isFailure(status) ? PlayerState::Failed : PlayerState::Finished;
}

}  // namespace

FinalReport::FinalReport(const Options& options, const DeviceChoice& choice,
                         Tavro::Session& session, Device& device, EventFile& events,
                         const RenderStats& watch, const StreamCounts& counts)
    : m_options(options),
      m_choice(choice),
      m_session(session),
      m_device(device),
      m_events(events),
      m_watch(watch),
      m_counts(counts) {}

void FinalReport::requireAllPlayed() const {
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

ExitStatus FinalReport::finish(ExitStatus status) {
  const auto attempt = [&status](auto&& step) {
    try {
      step();
    } catch (const PlayerError& error) {
      if (!isFailure(status)) {
        logError(error.what());
        status = error.status;
      }
    }
  };
  m_device.endWithSound(m_watch.padding(), m_watch.rate());
  const AudioDevices::DeviceTotals cycles = m_device.totals();  // before the device is closed
  const PassthroughTotals bursts = passthroughTotals();
  attempt([this] { requireNoViolation(); });
  attempt([&] { closeDevice(cycles.framesWritten); });
  m_events.record(finalState(status));
  attempt([this] { closeEvents(); });
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

/// Throws if the device found faulty bursts; logs the first ones.
void FinalReport::requireNoViolation() const {
  const AudioDevices::BurstReport report = m_device.burstReport();
  for (const AudioDevices::BurstViolation& violation : report.first) {
    logError(fmt::format("burst {}: {}", violation.burst, violation.reason));
  }
  if (report.violations > 0) {
    throw PlayerError(ExitStatus::PlaybackFailed,
                      fmt::format("{} of {} bursts were faulty", report.violations, report.bursts));
  }
}

void FinalReport::closeDevice(std::uint64_t framesWritten) {
  m_device.close();
  if (!m_choice.replaces.empty() && framesWritten > 0) {
    logInfo("replaced " + m_choice.replaces);
  }
}

void FinalReport::closeEvents() {
  if (!m_events.close()) {
    throw PlayerError(ExitStatus::PlaybackFailed, "cannot write all of " + m_options.eventsPath);
  }
}

PassthroughTotals FinalReport::passthroughTotals() const {
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

}  // namespace Player
