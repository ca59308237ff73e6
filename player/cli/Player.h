// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "player/base/ExitStatus.h"
#include "player/base/Options.h"
#include "player/cli/Controls.h"
#include "player/device/Device.h"
#include "player/engine/Output.h"
#include "player/engine/Playback.h"
#include "player/engine/RenderStats.h"
#include "player/report/EventFile.h"
#include "player/report/RunReport.h"
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
         const std::string& bundlePath);

  /// Plays everything, logs errors and writes the reports.
  ExitStatus run();

 private:
  ExitStatus playAll();
  ExitStatus finish(ExitStatus status);
  void planPassthrough();
  void decodeInstead(const std::string& path, const CodecInfo& coding,
                     const std::string& reason) const;
  void learnLimits();
  bool wantsAnotherPlan() const;
  std::string reasonToDecode(const CodecInfo& coding,
                             const AudioDevices::DeviceDescription& device) const;
  void playStream(const StreamFormat& format);
  void goOnAt(std::size_t position);
  void loadBundle();
  Output& outputFor(const StreamFormat& format);
  void requireAllPlayed();
  PassthroughTotals burstTotals();
  void requireNoViolation() const;
  void wait(std::uint64_t ns);
  void enter(PlayerState state);
  void enterTrack(std::size_t position);
  void tell(const PlayerError& error) const;
  void tellOfRealTime();

  const Options& m_options;
  const DeviceChoice& m_choice;
  Playlist& m_playlist;
  Tavro::HostTime::Signal m_wake;  // end of a stream, return of its buffers, new device
  Tavro::Session m_session;
  Device m_device;
  EventFile m_events;
  RenderStats m_watch;
  const std::string m_bundlePath;
  std::optional<Tavro::Bundle> m_bundle;  // loaded with the first stream
  std::unique_ptr<Output> m_output;
  StatusLine m_status;
  PlayerState m_state = PlayerState::Filling;
  const std::uint64_t m_startNs = Tavro::HostTime::now();
  std::optional<TrackPosition> m_spot;  // where the next stream resumes, if it was interrupted
  bool m_toldOfRealTime = false;
  std::optional<std::size_t> m_track;                   // entered last
  AudioDeviceID m_refusesBursts = kAudioObjectUnknown;  // despite offering them
  AudioDeviceID m_plannedDevice = kAudioObjectUnknown;
  std::size_t m_plannedChannels = 0;  // of m_plannedDevice
  std::size_t m_streamChannels = 0;   // of the current stream; 0 for bursts
  bool m_isMixedDown = false;         // an input has more channels than the device
  StreamCounts m_counts;
  const PlaybackContext m_stage;
  Controls m_controls;
};

}  // namespace Player
