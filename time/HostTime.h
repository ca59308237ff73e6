// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "time/AutoResetEvent.h"

/// The only source of host time in a process: real (the monotonic clock) or simulated. In simulated
/// time the same program plays an hour in seconds and behaves the same on every run:
///
/// - One participating thread runs at a time, until it waits here or ends; the next is the one with
///   the earliest deadline, then by Role, then by order of joining. When all wait, time jumps to
///   the earliest deadline. A signalled wait is due at once.
/// - A thread participates from its first wait here to its exit, a HostTime::Thread from creation.
/// - A thread that joins another (Thread::join, JoinScope) does not participate until that one has
///   ended; meanwhile only that one runs, and time is paused.
/// - So no thread may wait here while it holds a lock that others need, nor inside an audio
///   callback; a thread that waits elsewhere for one that waits here is a stall. A stall is
///   reported with what every thread waits for; by default the process then aborts.
namespace Tavro::HostTime {

/// Order among threads that are due at the same time.
enum class Role : std::uint8_t { Device, Decode, Feeder, Host };

inline constexpr std::uint64_t kNever = UINT64_MAX;

struct Participant;  // a participating thread

/// Switches the process permanently to simulated time, which starts at 0. The calling thread
/// participates as Role::Host; once it exits, no other participating thread runs. Call it before
/// any other thread waits here. A second call has no effect.
void simulate();
bool isSimulated();

/// Returns nanoseconds. [any-thread], real-time safe
std::uint64_t now();

/// Sets the calling thread's role in the order and its name in stall reports. The default is a
/// feeder. Call it before the thread's first wait.
void enlist(Role role, const char* name);

/// Lets the calling thread use all processors. Participating threads share one: they take turns
/// anyway, and a turn on the same one costs a sixth. A thread inherits that from its creator, so a
/// helper that does not participate (such as a log writer) calls this first to run beside them.
void useAnyProcessor();

/// Wakes one waitUntil(), the present or the next one; notifications do not accumulate.
class Signal {
 public:
  Signal() = default;
  Signal(const Signal&) = delete;
  Signal& operator=(const Signal&) = delete;
  ~Signal() = default;

  void notify();  // [any-thread]; real-time safe in real time

 private:
  friend class Scheduler;
  friend bool waitUntil(std::uint64_t, Signal&, const char*);
  AutoResetEvent m_gate;
  Participant* m_waiter = nullptr;  // in simulated time; guarded by the scheduler's lock
};

/// Blocks the calling thread until `deadline` (a value of now()). `what` describes the wait in
/// stall reports, and must be a literal or outlive the wait.
void waitUntil(std::uint64_t deadline, const char* what);

/// The same, or until the signal is notified. Returns true if it was, false at the deadline (kNever
/// for none).
bool waitUntil(std::uint64_t deadline, Signal& signal, const char* what);

using MemberId = std::uint64_t;  // 0 for none

/// A thread that participates from its creation, so that its start is as deterministic as its work.
/// Joined by its owner, exactly once, or by its destructor.
class Thread {
 public:
  Thread(Role role, std::string name, std::function<void()> body);
  ~Thread();
  Thread(const Thread&) = delete;
  Thread& operator=(const Thread&) = delete;
  void join();
  bool isCurrent() const { return m_thread.get_id() == std::this_thread::get_id(); }

 private:
  MemberId m_member = 0;
  std::thread m_thread;
};

/// For code that creates a thread which will wait here by itself (a component's feeder). await()
/// returns that thread's id once it has reached its first wait; 0 in real time, or if no thread
/// came within `patienceMs` of real time.
class ThreadStartWaiter {
 public:
  ThreadStartWaiter();
  MemberId await(std::uint64_t patienceMs = 2000);

 private:
  std::uint64_t m_before = 0;
};

/// For code that joins the member (a component's destructor). No effect in real time or for 0.
class JoinScope {
 public:
  explicit JoinScope(MemberId member);
  ~JoinScope();
  JoinScope(const JoinScope&) = delete;
  JoinScope& operator=(const JoinScope&) = delete;

 private:
  bool m_active = false;
};

/// Handles a stall; the report has a line for each thread. It is called with the scheduler's lock
/// held: it may print and end the process, and must not wait or signal here. The default prints and
/// aborts.
using StallHandler = std::function<void(const std::string& report)>;
void setStallHandler(StallHandler handler);

/// Sets how long (real time, milliseconds) the running thread may block elsewhere before that is a
/// stall; initially 30 s. Only time in which it uses no processor time counts.
void setStallPatience(std::uint64_t milliseconds);

}  // namespace Tavro::HostTime
