#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>

#include "player/device/BurstTimeBase.h"
#include "player/device/Device.h"
#include "player/engine/Output.h"
#include "player/engine/Progress.h"
#include "player/engine/RenderWatch.h"
#include "player/report/EventFile.h"
#include "player/source/BurstSource.h"
#include "player/source/Playlist.h"
#include "player/source/Source.h"
#include "tavro_core/Session.h"
#include "time/FirstTurn.h"

namespace Player {

/// What the streams of a run held, in all.
struct StreamCounts {
  std::uint64_t pcmBuffers = 0;
  std::uint64_t bursts = 0;     // one for each AC-3 frame
  std::uint64_t sentAgain = 0;  // bursts that a pause took away
  std::uint64_t seeks = 0;
};

/// The device that bursts go to is lost, or another one is to be played on: here the stream ends,
/// to go on there.
struct DeviceChanged {
  std::optional<Spot> goesOnAt;  // none: nothing has been played yet
};

/// Whether the device runs cycles, as polled several times a second.
class CycleFlow {
 public:
  bool goOn(const Device& device);

 private:
  std::uint64_t m_cycles = 0;
  RunningTime m_since;  // the last new cycle
};

/// What all streams of a run have in common.
struct Stage {
  Tavro::Session& session;
  Playlist& playlist;
  const Device& device;
  RenderWatch& watch;
  Tavro::HostTime::Signal& wake;  // a stream's end, and the end of all its buffers
  StreamCounts& counts;
  std::uint32_t bufferMs;                      // of decoded sound
  std::function<void(std::uint64_t ns)> wait;  // so long or until woken; throws PlayerError
  std::function<void(PlayerState state)> enter;
  std::function<void(std::size_t position)> enterTrack;  // as often as convenient
  std::function<void()> loadBundle;                      // before a component is asked for
};

/// One stream on its way through an output. [host-thread]
///
/// Decoded sound waits in the component while the graph stands: pause stops it, resume starts it.
/// Bursts know no start and stop, the device takes them from the first to the last: pause takes
/// them away from it, so that it goes on with silence, and resume hands them over again.
///
/// While the device is gone, or runs no cycles, decoded sound and the clock stand with it. Bursts
/// cannot move to another device.
///
/// A seek takes everything away that the device has not consumed, and sets the clock to where it
/// goes on.
class Playback {
 public:
  /// Asked for when the first buffers are made.
  using GetOutput = std::function<Output&()>;

  /// Waits for the first buffers for some milliseconds at most, connects and configures; throws
  /// PlayerError (FormatRefused among them) and BundleError. The first track begins at the spot, if
  /// any.
  Playback(const Stage& stage, const GetOutput& output, const StreamFormat& format,
           const std::optional<Spot>& spot);
  ~Playback();  // adds to the counts
  Playback(const Playback&) = delete;
  Playback& operator=(const Playback&) = delete;

  /// Called every now and then while it plays; answers whether it paused.
  using Between = std::function<bool(Playback&)>;

  /// Until everything has been played; throws DeviceChanged.
  void run(const Between& between);

  /// Only in Between. A seek leaves it paused or playing as it was.
  void pause();
  void resume();
  void seek(const Seek& to);
  /// Throws DeviceChanged, for the rest to be played otherwise.
  [[noreturn]] void giveUp();
  bool isPaused() const { return m_isPaused; }

 private:
  Beginning beginning(const std::optional<Spot>& spot) const;
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

  const Stage& m_stage;
  const std::uint64_t m_returnedBefore;
  std::unique_ptr<BurstSource> m_bursts;  // one of the two
  std::unique_ptr<Source> m_pcm;
  Source* m_source;
  const StreamFormat m_format;
  const AudioDeviceID m_device;  // at first
  std::optional<Tavro::HostTime::FirstTurn>
      m_firstTurn;  // until the component may look for buffers
  Connection m_connection;
  std::optional<BurstTimeBase> m_timeBase;  // with bursts, while they go
  bool m_isPaused = false;
  bool m_isHeld = false;  // for want of cycles
  CycleFlow m_cycles;
  bool m_isGivenUp = false;
  std::uint64_t m_takenBack = 0;  // buffers
  std::uint64_t m_toSendAgain = 0;
  std::uint64_t m_sentAgain = 0;
  std::uint64_t m_seeks = 0;
};

}  // namespace Player
