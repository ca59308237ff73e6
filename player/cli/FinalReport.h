// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

#include "player/base/ExitStatus.h"
#include "player/base/Options.h"
#include "player/device/Device.h"
#include "player/engine/PlaybackContext.h"
#include "player/engine/RenderStats.h"
#include "player/report/EventFile.h"
#include "player/report/RunReport.h"
#include "tavro_core/Session.h"
#include "time/HostTime.h"

namespace Player {

/// The end of a run: verifies that everything was played, closes device and event file, and writes
/// the totals. Made at the start of the run, whose duration it reports. [host-thread]
class FinalReport {
 public:
  FinalReport(const Options& options, const DeviceChoice& choice, Tavro::Session& session,
              Device& device, EventFile& events, const RenderStats& watch,
              const StreamCounts& counts);

  /// Throws PlayerError unless each PCM buffer was played once, and each burst handed over and
  /// taken by the device once.
  void requireAllPlayed() const;

  /// Closes everything and writes the reports. Logs what fails meanwhile. Returns the status of the
  /// first failure if `status` is none, else `status`.
  ExitStatus finish(ExitStatus status);

 private:
  void requireNoViolation() const;
  void closeDevice(std::uint64_t framesWritten);
  void closeEvents();
  PassthroughTotals passthroughTotals() const;

  const Options& m_options;
  const DeviceChoice& m_choice;
  Tavro::Session& m_session;
  Device& m_device;
  EventFile& m_events;
  const RenderStats& m_watch;
  const StreamCounts& m_counts;
  const std::uint64_t m_startNs = Tavro::HostTime::now();
};

}  // namespace Player
