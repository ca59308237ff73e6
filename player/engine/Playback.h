// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "player/device/BurstTimeBase.h"
#include "player/device/Device.h"
#include "player/engine/Output.h"
#include "player/engine/Progress.h"
#include "player/engine/RenderStats.h"
#include "player/report/EventFile.h"
#include "player/source/BurstSource.h"
#include "player/source/Playlist.h"
#include "player/source/Source.h"
#include "tavro_core/Session.h"
#include "time/FirstTurn.h"

namespace Player {

/// Totals over all streams of a run.
struct StreamCounts {
  std::uint64_t pcmBuffers = 0;
  std::uint64_t bursts = 0;     // one for each AC-3 frame
  std::uint64_t sentAgain = 0;  // bursts taken back by a pause and resent
  std::uint64_t seeks = 0;
};

/// Thrown to end a stream that must continue on another device or with another plan, for example
/// because the device that bursts go to is lost.
struct DeviceChanged {
  std::optional<TrackPosition> goesOnAt;  // none: nothing was played yet
};

/// Detects whether the device runs cycles; poll it several times a second.
class CycleFlow {
 public:
  bool areRunning(const Device& device);

 private:
  std::uint64_t m_cycles = 0;
  RunningTime m_since;  // the last new cycle
};

/// What all streams of a run share.
struct PlaybackContext {
  Tavro::Session& session;
  Playlist& playlist;
  const Device& device;
  RenderStats& watch;
  Tavro::HostTime::Signal& wake;  // end of a stream, return of its buffers
  StreamCounts& counts;
  std::uint32_t bufferMs;                      // decoded audio per buffer
  std::function<void(std::uint64_t ns)> wait;  // for `ns` or until woken; throws PlayerError
  std::function<void(PlayerState state)> enter;
  std::function<void(std::size_t position)> enterTrack;  // as often as convenient
  std::function<void()> loadBundle;                      // called before GetOutput
};

/// Plays one stream through an output. [host-thread]
///
/// Decoded audio stays in the component while the graph is stopped: pause() stops the graph,
/// resume() starts it. Bursts cannot be stopped, as the device keeps consuming them: pause() takes
/// them back, so that the device continues with silence, and resume() hands them over again.
///
/// While the device is gone or runs no cycles, decoded audio and the clock are held. Bursts cannot
/// move to another device.
///
/// A seek takes back everything that the device has not consumed, and sets the clock to the new
/// position.
class Playback {
 public:
  /// Called when the first buffers are made.
  using GetOutput = std::function<Output&()>;

  /// Waits some milliseconds at most for the first buffers, connects and configures. Throws
  /// PlayerError (such as FormatRefused) and BundleError. The first track begins at `spot`, if
  /// given.
  Playback(const PlaybackContext& stage, const GetOutput& output, const StreamFormat& format,
           const std::optional<TrackPosition>& spot);
  ~Playback();  // adds to the counts
  Playback(const Playback&) = delete;
  Playback& operator=(const Playback&) = delete;

  /// Called periodically during playback; returns whether it paused.
  using Between = std::function<bool(Playback&)>;

  /// Returns when everything is played; throws DeviceChanged.
  void run(const Between& between);

  /// Call in Between only. A seek does not change whether it is paused.
  void pause();
  void resume();
  void seek(const Seek& to);
  /// Throws DeviceChanged, so that the rest is played with another plan.
  [[noreturn]] void giveUp();
  bool isPaused() const { return m_isPaused; }

 private:
  Beginning beginning(const std::optional<TrackPosition>& spot) const;
  Output& whenMade(const GetOutput& output);
  bool start();
  bool fillQueue();
  void playToTheEnd(const Between& between);
  bool goWithDevice();
  void keepClock(bool plays);
  void waitUntilHeard();
  std::uint64_t takeBack();
  void awaitQuiet();
  std::uint64_t toReturn(std::uint64_t ofThisStream) const;

  const PlaybackContext& m_stage;
  const std::uint64_t m_returnedBefore;
  std::unique_ptr<BurstSource> m_bursts;  // one of the two
  std::unique_ptr<Source> m_pcm;
  Source* m_source;
  const StreamFormat m_format;
  const AudioDeviceID m_device;  // at first
  std::optional<Tavro::HostTime::FirstTurn>
      m_firstTurn;  // until the component may poll for buffers
  Connection m_connection;
  std::optional<BurstTimeBase> m_timeBase;  // with bursts, while they play
  bool m_isPaused = false;
  bool m_isHeld = false;  // no cycles run
  CycleFlow m_cycles;
  bool m_isGivenUp = false;
  std::uint64_t m_takenBack = 0;  // buffers
  std::uint64_t m_toSendAgain = 0;
  std::uint64_t m_sentAgain = 0;
  std::uint64_t m_seeks = 0;
};

}  // namespace Player
