#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

#include "host/GraphSession.h"
#include "time/HostTime.h"

namespace Tavro {

/// The graph's time, in milliseconds. It goes with the sound, not with the wall: components offer
/// time bases, and the running one with the highest priority (the earlier added among equals) is
/// followed.
///
/// Life: it stands at its set value → start() arms it, and it still stands → the first running
/// time base moves, and it follows → pause() makes it stand again.
///
/// - Time bases are followed by differences, never by value. Where one begins to move is an anchor.
/// - A leap of a time base, backwards or further than host time explains, anchors anew.
/// - When it is ahead of its time base it waits for it: it never runs backwards, except by set().
/// - Once it goes, it goes: with no time base running it follows host time.
/// - While the process is stopped (SIGSTOP, a debugger) it does not go. Afterwards it continues as
///   after start().
///
/// Time bases are asked every 10 ms on a thread of the clock's own and whenever the host changes
/// something; in between, host time carries the last answer on. So reading the time asks nobody.
class Clock final : public SessionClock {
 public:
  Clock();
  ~Clock() override;

  std::uint32_t currentTime() override;                    // [any-thread], real-time safe
  void addTimeBase(TimeBaseInterface* timeBase) override;  // [host-thread]

  /// The time base is not asked any more once this has returned. [host-thread]
  void removeTimeBase(TimeBaseInterface* timeBase) override;

  void start();                     // [host-thread]
  void pause();                     // [host-thread]
  void set(std::uint32_t graphMs);  // a seek, in any state [host-thread]
  void sample();                    // asks the time bases now [host-thread]

 private:
  enum class State : std::uint8_t { Stands, Armed, Follows };

  /// What readers go by: graph time `graphMs` until host time `hostMs`, and on with it from there.
  struct Reading {
    std::uint32_t graphMs = 0;
    std::uint32_t hostMs = 0;  // modulo 2^31
    bool goes = false;
    std::uint32_t at(std::uint32_t atHostMs) const;
    std::uint64_t packed() const;
    static Reading unpacked(std::uint64_t word);
  };

  void run();
  void askTimeBases();
  TimeBaseInterface* leader() const;
  void follow(std::uint32_t baseMs, std::uint32_t hostMs);
  void anchor(std::uint32_t baseMs, std::uint32_t hostMs);
  void steer(std::uint32_t targetMs, std::uint32_t hostMs);
  bool wasStopped(std::uint32_t hostMs) const;
  Reading reading() const;
  void publish(Reading reading);

  // One word, so that readers take no lock. Written with m_lock held.
  std::atomic<std::uint64_t> m_reading{0};
  std::atomic<std::uint32_t> m_answered{0};   // the time that was read last
  std::atomic<std::uint32_t> m_sampledMs{0};  // host time when the time bases were last asked

  // Held while time bases are asked, so that a removed one is not being asked any more. Time bases
  // take locks of their components under it: nothing that holds those may call the clock's
  // [host-thread] operations.
  std::mutex m_lock;
  std::vector<TimeBaseInterface*> m_timeBases;
  State m_state = State::Stands;
  TimeBaseInterface* m_followed = nullptr;
  bool m_moves = false;            // m_followed has moved since it was chosen
  std::uint32_t m_lastBaseMs = 0;  // its last answer
  std::uint32_t m_lastHostMs = 0;  // when that was
  std::uint32_t m_anchorBaseMs = 0;
  std::uint32_t m_anchorGraphMs = 0;

  std::atomic<bool> m_ends{false};
  std::atomic<bool> m_idle{true};  // nothing to ask: m_state == Stands
  HostTime::Signal m_wake;
  HostTime::Thread m_thread;
};

}  // namespace Tavro
