// SPDX-License-Identifier: MIT

#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

#include "host/PortInterface.h"
#include "locks/Mutex.h"
#include "player/base/StreamFormat.h"
#include "player/source/Playlist.h"
#include "player/source/StreamTimeline.h"
#include "tavro_core/BufferPool.h"
#include "tavro_core/Session.h"
#include "time/HostTime.h"

namespace Player {

/// Buffers besides the ready ones: those that a component queues, plays, or was just handed.
inline constexpr std::uint32_t kBuffersElsewhere = 16;

/// The upstream port of one stream: gapless inputs of one format. Makes buffers ahead on its own
/// thread, so that a component's query returns at once, without a buffer if none is ready. Must
/// outlive the component's connection to it.
///
/// To take back what the component has: hold() → isQuiet(), if the device keeps running → flush →
/// rewind() → seek(), if wanted → release().
class Source : public Tavro::PortInterface {
 public:
  bool readQuery(unsigned id, Tavro::_Variant* value) final;  // [feeder-thread]
  bool checkEvent(unsigned, Tavro::_Variant*) final { return false; }
  bool sendEvent(unsigned, Tavro::_Variant*) final { return false; }
  bool writeQuery(unsigned, Tavro::_Variant*) final { return false; }

  /// Returns whether all is made; buffers() is then final until a seek. [any-thread]
  bool hasEnded() const { return m_ended.load(std::memory_order_acquire); }

  /// Returns whether the component has taken all there is. [any-thread]
  bool hasGivenAll() const { return hasEnded() && taken() == buffers(); }

  /// Returns whether as many buffers are made and not consumed as a component queues, or all there
  /// are. [any-thread]
  bool isAhead() const { return hasEnded() || buffers() >= consumed() + kQueued; }

  /// Returns whether the component has taken them: a device may want them at once when it starts,
  /// faster than the component asks for more. [any-thread]
  bool isQueued() const { return hasGivenAll() || taken() >= consumed() + kQueued; }

  /// Buffers made so far, and how many of them the component has taken; without those that a flush
  /// or a seek dropped. [any-thread]
  std::uint64_t buffers() const { return m_made.load(std::memory_order_acquire); }
  std::uint64_t taken() const { return m_taken.load(std::memory_order_acquire); }

  /// Stops and resumes handing out buffers. [host-thread]
  void hold();
  void release();

  /// Returns whether the component has asked since hold(), so that no buffer it took before is
  /// still in transit to its queue. [host-thread]
  bool isQuiet() const { return m_quiet.load(std::memory_order_acquire); }

  /// Goes back to the first buffer not consumed; the component must have released all of them.
  /// Returns how many it had. [host-thread], while held
  std::uint64_t rewind();

  /// Continues elsewhere in the track of the next buffer, or with the next track if that is past
  /// its end. [host-thread], after rewind()
  void seek(const Seek& to);

  /// Returns the position of the next buffer. [host-thread], while held
  std::optional<TrackPosition> spot();

  /// Returns when the first buffer not consumed is due, in graph time. [host-thread]
  std::uint32_t presentStampMs();

  /// Returns the playlist position of that buffer's track; nullopt before the first one.
  /// [host-thread]
  std::optional<std::size_t> presentPosition();

  /// Returns when the next buffer is due, in graph time. [host-thread], while held
  std::uint32_t nextStampMs();

 protected:
  /// Notifies `wake` when the first buffers are made, when the component has filled its queue, and
  /// at the end of the stream.
  Source(Tavro::Session& session, Playlist& playlist, const StreamFormat& format,
         std::uint32_t framesPerBuffer, const Beginning& beginning, Tavro::HostTime::Signal& wake);

  /// Returns the next buffer, with one reference, and counts it in m_taken; null if none is ready.
  /// [feeder-thread]
  virtual Tavro::PooledBuffer* take() TAVRO_REQUIRES(m_lock) = 0;

  /// Drops what is made and not taken. [host-thread]
  virtual void drop() TAVRO_REQUIRES(m_lock) {}

  /// Counts one more ready buffer. On the making thread.
  void countMade() TAVRO_REQUIRES(m_lock);

  /// Returns the number of buffers that are consumed.
  std::uint64_t consumed() const;

  // On the making thread. Buffers made while a seek is pending must be discarded.
  // goWhereSought() returns the stream frame of a pending seek.
  std::optional<std::uint64_t> goWhereSought() TAVRO_EXCLUDES(m_lock);
  std::optional<Track> nextTrack(std::uint64_t begin) TAVRO_EXCLUDES(m_lock);
  bool isSought() const TAVRO_REQUIRES(m_lock) { return m_sought.has_value(); }
  void end() TAVRO_EXCLUDES(m_lock);

  /// Returns when a frame is due, in graph time. [any-thread], and therefore not analysed
  std::uint32_t stampOf(std::uint64_t frame) const TAVRO_NO_ANALYSIS {
    return m_timeline.stampOf(frame);
  }

  Tavro::Session& m_session;
  Playlist& m_playlist;
  const StreamFormat m_format;
  const std::uint32_t m_framesPerBuffer;

  // Held for a few instructions, never while decoding.
  Tavro::Mutex<Tavro::LockRank::SourceState> m_lock;
  StreamTimeline m_timeline TAVRO_GUARDED_BY(m_lock);

  // Counted by the making and the taking thread, after the operation (release, acquire); m_lock is
  // held where a seek must not interleave.
  std::atomic<std::uint64_t> m_made{0};
  std::atomic<std::uint64_t> m_taken{0};

  Tavro::HostTime::Signal m_wanted;  // more buffers, or a seek

 private:
  static constexpr std::uint64_t kQueued = 10;  // by a component, at most

  const std::uint64_t m_consumedBefore;
  Tavro::HostTime::Signal& m_wake;
  std::atomic<bool> m_ended{false};  // written with m_lock held
  std::atomic<bool> m_quiet{false};

  bool m_held TAVRO_GUARDED_BY(m_lock) = false;
  std::uint64_t m_asked TAVRO_GUARDED_BY(m_lock) = 0;  // queries since the start or release()
  std::optional<EntryPoint> m_sought TAVRO_GUARDED_BY(m_lock);

  std::optional<EntryPoint> m_next;  // making thread only: where the next track is entered
};

}  // namespace Player
