// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "player/base/ExitStatus.h"
#include "player/base/Options.h"
#include "player/cli/Controls.h"
#include "player/cli/FinalReport.h"
#include "player/cli/StreamPlan.h"
#include "player/device/Device.h"
#include "player/engine/Output.h"
#include "player/engine/Playback.h"
#include "player/engine/RenderStats.h"
#include "player/report/EventFile.h"
#include "player/report/StatusLine.h"
#include "player/source/Playlist.h"
#include "tavro_core/Bundle.h"
#include "tavro_core/Session.h"

namespace Player {

/// One run of the program: plays every input through a component of the bundle to the device.
/// Members are declared in dependency order. [host-thread]
class Player {
 public:
  /// Throws PlayerError before anything is played.
  Player(const Options& options, const DeviceChoice& choice, Playlist& playlist,
         Tavro::Bundle& bundle);

  /// Plays everything, logs errors and writes the reports.
  ExitStatus run();

 private:
  ExitStatus playAll();
  void playStream(const StreamFormat& format);
  void goOnAt(std::size_t position);
  Output& outputFor(const StreamFormat& format);
  void wait(std::uint64_t ns);
  void enter(PlayerState state);
  void enterTrack(std::size_t position);
  void tellOfRealTime();

  const Options& m_options;
  const DeviceChoice& m_choice;
  Playlist& m_playlist;
  Tavro::HostTime::Signal m_wake;  // end of a stream, return of its buffers, new device
  Tavro::Session m_session;
  Device m_device;
  StreamPlan m_plan;
  EventFile m_events;
  RenderStats m_watch;
  Tavro::Bundle& m_bundle;
  std::unique_ptr<Output> m_output;
  StatusLine m_status;
  PlayerState m_state = PlayerState::Filling;
  std::optional<TrackPosition> m_spot;  // where the next stream resumes, if it was interrupted
  bool m_toldOfRealTime = false;
  std::optional<std::size_t> m_track;  // entered last
  StreamCounts m_counts;
  const PlaybackContext m_stage;
  Controls m_controls;
  FinalReport m_report;
};

}  // namespace Player
