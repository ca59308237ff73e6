// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "player/device/BurstTimeBase.h"
#include "player/engine/ClockHold.h"
#include "player/engine/Output.h"
#include "player/engine/PlaybackContext.h"
#include "player/source/Source.h"
#include "time/FirstTurn.h"

namespace Player {

/// Thrown to end a stream that must continue on another device or with another plan, for example
/// because the device that bursts go to is lost.
struct DeviceChanged {
  std::optional<TrackPosition> goesOnAt;  // none: nothing was played yet
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
  Output& whenMade(const GetOutput& output);
  bool start();
  bool fillQueue();
  void playToTheEnd(const Between& between);
  bool goWithDevice();
  void waitUntilHeard();
  std::uint64_t takeBack();
  void awaitQuiet();
  std::uint64_t toReturn(std::uint64_t ofThisStream) const;

  const PlaybackContext& m_stage;
  const std::uint64_t m_returnedBefore;
  const StreamFormat m_format;
  const std::unique_ptr<Source> m_source;
  const AudioDeviceID m_device;  // at first
  std::optional<Tavro::HostTime::FirstTurn>
      m_firstTurn;  // until the component may poll for buffers
  Connection m_connection;
  ClockHold m_hold;                         // for decoded audio
  std::optional<BurstTimeBase> m_timeBase;  // with bursts, while they play
  bool m_isPaused = false;
  bool m_isGivenUp = false;
  std::uint64_t m_takenBack = 0;  // buffers
  std::uint64_t m_toSendAgain = 0;
  std::uint64_t m_sentAgain = 0;
  std::uint64_t m_seeks = 0;
};

}  // namespace Player
