#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <optional>

#include "host/PortInterface.h"
#include "player/base/StreamFormat.h"
#include "player/source/Playlist.h"
#include "player/source/TrackMarks.h"
#include "tavro_core/BufferPool.h"
#include "tavro_core/Session.h"
#include "time/HostTime.h"

namespace Player {

/// Buffers beside those that are ready: what a component queues, plays, or has just been handed.
inline constexpr std::uint32_t kBuffersElsewhere = 16;

/// A place in what is played of a track.
struct Spot {
  std::size_t position = 0;  // in the playlist
  std::uint64_t ns = 0;
};

/// Where to go on within a track.
struct Seek {
  std::int64_t ns = 0;    // not negative unless relative
  bool relative = false;  // to what the device took last; else to the track's beginning
};

/// Where a stream begins: its first track in the middle, if it went that far elsewhere.
struct Beginning {
  std::uint32_t stampMs = 0;
  std::optional<Spot> spot;
};

/// The upstream port of one stream: inputs of one format, one after the other without a gap. What
/// it hands out is made ahead, on a thread of its own, so that a component's question is answered
/// at once, with "none now" if need be. It outlives the component's connection to it.
///
/// Time stamps are computed from the count of frames; nothing accumulates. A seek sets that count
/// to where the frame lies in its track, so that time and position go together.
///
/// To take back what the component has: hold() → isQuiet(), if the device goes on → flush →
/// rewind() → seek(), if wanted → letGo().
class Source : public Tavro::PortInterface {
 public:
  bool readQuery(unsigned id, Tavro::_Variant* value) final;  // [feeder-thread]
  bool checkEvent(unsigned, Tavro::_Variant*) final { return false; }
  bool sendEvent(unsigned, Tavro::_Variant*) final { return false; }
  bool writeQuery(unsigned, Tavro::_Variant*) final { return false; }

  /// All is made; buffers() is final then, but for a seek. [any-thread]
  bool hasEnded() const { return m_ended.load(std::memory_order_acquire); }

  /// The component has taken all there is. [any-thread]
  bool hasGivenAll() const { return hasEnded() && taken() == buffers(); }

  /// As many are made, and not done with, as a component queues, or all there are. [any-thread]
  bool isAhead() const { return hasEnded() || buffers() >= consumed() + kQueued; }

  /// The component has taken them: a device may want them at once when it starts, faster than the
  /// component asks for others. [any-thread]
  bool isQueued() const { return hasGivenAll() || taken() >= consumed() + kQueued; }

  /// Buffers made so far, and how many of them the component has taken; neither counts those that
  /// it lost again. [any-thread]
  std::uint64_t buffers() const { return m_made.load(std::memory_order_acquire); }
  std::uint64_t taken() const { return m_taken.load(std::memory_order_acquire); }

  /// From now on there is nothing to take. [host-thread]
  void hold();
  void letGo();

  /// The component has asked since hold(), so nothing that it took before is on its way into its
  /// queue any more. [host-thread]
  bool isQuiet() const { return m_quiet.load(std::memory_order_acquire); }

  /// Goes back to the first buffer that the component was not done with; it has none of them any
  /// more. Answers how many it had. [host-thread], while held
  std::uint64_t rewind();

  /// Goes on elsewhere in the track of the next buffer, with the next track behind its end.
  /// [host-thread], after rewind()
  void seek(const Seek& to);

  /// Where the next buffer lies. [host-thread], while held
  std::optional<Spot> spot();

  /// When the first buffer that the component is not done with is due, in graph time. [host-thread]
  std::uint32_t presentStampMs();

  /// Returns where in the playlist that buffer's track is, or nothing before the first one.
  /// [host-thread]
  std::optional<std::size_t> presentPosition();

  /// When the next buffer is due, in graph time. [host-thread], while held
  std::uint32_t nextStampMs();

 protected:
  /// `wake` is notified when the source is ahead at first, when the component has filled its queue,
  /// and at the end of the stream.
  Source(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
         std::uint32_t framesPerBuffer, const Beginning& beginning, Tavro::HostTime::Signal& wake);

  /// The next buffer, with one reference, counted in m_taken; null: none now. [feeder-thread], with
  /// the lock held
  virtual Tavro::PooledBuffer* take() = 0;

  /// Gives up what is made and not taken. [host-thread], with the lock held
  virtual void drop() {}

  /// One more, ready to be taken. On the thread that makes them, with the lock held.
  void countMade();

  /// Buffers that the component is done with.
  std::uint64_t consumed() const;

  std::uint32_t stampOf(std::uint64_t frame) const;
  std::uint64_t frameOf(std::uint64_t buffer) const {  // with the lock held
    return buffer * m_framesPerBuffer + m_shift;
  }

  // On the thread that makes the buffers. What it makes while a seek waits for it is not wanted.
  std::optional<std::uint64_t> goWhereSought();  // the frame there; the former track is over
  std::optional<Track> nextTrack(std::uint64_t begin);
  bool isSought() const { return m_sought.has_value(); }  // with the lock held
  void end();

  Tavro::Session& m_session;
  Playlist& m_playlist;
  const StreamFormat m_format;
  const std::uint32_t m_framesPerBuffer;

  // Held for a few instructions, never while decoding.
  std::mutex m_lock;

  // Counted by whoever makes and takes buffers, after the deed (release, acquire); the lock is held
  // for what a seek must not come between.
  std::atomic<std::uint64_t> m_made{0};
  std::atomic<std::uint64_t> m_taken{0};

  Tavro::HostTime::Signal m_wanted;  // more buffers, or others

 private:
  static constexpr std::uint64_t kQueued = 10;  // by a component, at most

  struct Place {
    std::size_t position = 0;        // in the playlist
    std::uint64_t frameInTrack = 0;  // of the part that is played
    std::uint64_t frame = 0;         // of the stream
  };
  std::uint64_t wholeFrame(std::uint64_t frame) const;
  std::uint64_t targetIn(const TrackMarks::Mark& track, std::uint64_t from, const Seek& to) const;

  std::uint32_t m_originMs;  // of the frame 0, which a stream need not have
  const std::uint64_t m_consumedBefore;
  Tavro::HostTime::Signal& m_wake;
  std::atomic<bool> m_ended{false};  // written with the lock held
  std::atomic<bool> m_quiet{false};

  // With the lock held.
  bool m_held = false;
  std::uint64_t m_asked = 0;  // for buffers, since nothing was held
  std::uint64_t m_shift = 0;  // frames, modulo 2^64, by which seeks have moved the buffers
  TrackMarks m_tracks;
  std::optional<Place> m_sought;

  std::optional<Place> m_next;  // making thread only: where the next track is entered
};

}  // namespace Player
