#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <thread>

#include "time/Gate.h"

/// Host time, the one source of it in a process: real (the monotonic clock) or simulated. In
/// simulated time the same program plays an hour in seconds and does the same on every run:
///
/// - One taking-part thread runs at a time, until it waits here or ends; the next is the one with
///   the earliest deadline, ties by Role and then by order of joining. When all wait, time jumps to
///   the earliest deadline. A signalled wait is due at once.
/// - A thread takes part from its first wait here to its exit; a HostTime::Thread from its
/// creation.
/// - A thread that joins another (Thread::join, JoinScope) is out of the set until that one has
///   ended; meanwhile only that one runs, and time stands.
/// - So no thread may wait here while it holds a lock that others need, nor inside an audio
///   callback; whatever waits elsewhere for a thread that waits here is a stall. A stall is
///   reported with what every thread waits for; by default the process then aborts.
namespace Tavro::HostTime {

/// Order among threads that are due at the same time.
enum class Role : std::uint8_t { Device, Decode, Feeder, Host };

inline constexpr std::uint64_t kNever = UINT64_MAX;

struct Member;  // a thread that takes part

/// Switches the process to simulated time, which starts at 0, for good. The calling thread takes
/// part as Role::Host; when it exits, nobody runs any more. Call it before any other thread waits
/// here. A second call changes nothing.
void simulate();
bool isSimulated();

/// Nanoseconds. [any-thread], real-time safe
std::uint64_t now();

/// Names the calling thread, for its place in the order and for stall reports. Without it a thread
/// is a feeder. Before the thread's first wait.
void enlist(Role role, const char* name);

/// Taking-part threads share one processor: they take turns anyway, and a turn on the same one
/// costs a sixth. A thread inherits that from its creator; a helper that does not take part (it
/// writes a log, say) calls this first to run beside them.
void useAnyProcessor();

/// Wakes one waitUntil(), now or the next one; signals do not add up.
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
  Gate m_gate;
  Member* m_waiter = nullptr;  // simulated time: who waits on it; guarded by the scheduler's lock
};

/// Blocks the calling thread until `deadline` (a value of now()); `what` says for what, in stall
/// reports, and must be a literal or outlive the wait.
void waitUntil(std::uint64_t deadline, const char* what);

/// The same, or until the signal is notified: true then, false at the deadline (kNever: none).
bool waitUntil(std::uint64_t deadline, Signal& signal, const char* what);

using MemberId = std::uint64_t;  // 0: none

/// A thread that takes part from its creation, so that where it starts is as deterministic as what
/// it does. Joined by its owner, exactly once, or by its destructor.
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

/// Around code that creates a thread which will wait here by itself (a component's feeder): its
/// await() returns when that thread has reached its first wait, and answers who it is; 0 in real
/// time, or when no thread came within the real-time patience.
class NewcomerWatch {
 public:
  NewcomerWatch();
  MemberId await(std::uint64_t patienceMs = 2000);

 private:
  std::uint64_t m_before = 0;
};

/// Around code that joins the member (a component's destructor). Nothing in real time or for 0.
class JoinScope {
 public:
  explicit JoinScope(MemberId member);
  ~JoinScope();
  JoinScope(const JoinScope&) = delete;
  JoinScope& operator=(const JoinScope&) = delete;

 private:
  bool m_active = false;
};

/// What to do about a stall; the report has a line for each thread. It is called with the
/// scheduler's lock held: it may print and end the process, and must not wait or signal here.
/// Default: print and abort.
using StallHandler = std::function<void(const std::string& report)>;
void setStallHandler(StallHandler handler);

/// How long (real time, milliseconds) the running thread may block outside before that is a stall;
/// 30 s at first. Work is no stall: only a thread that uses no processor time counts.
void setStallPatience(std::uint64_t milliseconds);

}  // namespace Tavro::HostTime
