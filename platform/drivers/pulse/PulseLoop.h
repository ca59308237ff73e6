// SPDX-License-Identifier: MIT

#pragma once

#include <pulse/pulseaudio.h>

#include "locks/LockOrder.h"
#include "locks/ThreadSafety.h"

namespace Platform {

/// libpulse's event loop on its own thread, and the lock of it, which libpulse holds through every
/// callback.
class TAVRO_LOCKABLE PulseLoop {
 public:
  PulseLoop() : m_loop(pa_threaded_mainloop_new()) {}
  ~PulseLoop() {
    if (m_loop != nullptr) {
      pa_threaded_mainloop_free(m_loop);
    }
  }
  PulseLoop(const PulseLoop&) = delete;
  PulseLoop& operator=(const PulseLoop&) = delete;

  bool isMade() const { return m_loop != nullptr; }
  bool start() { return pa_threaded_mainloop_start(m_loop) >= 0; }
  void stop() TAVRO_EXCLUDES(this) { pa_threaded_mainloop_stop(m_loop); }

  void lock() TAVRO_ACQUIRE() {
    Tavro::LockOrder::taking(this, kRank, false);
    pa_threaded_mainloop_lock(m_loop);
  }
  void unlock() TAVRO_RELEASE() {
    pa_threaded_mainloop_unlock(m_loop);
    Tavro::LockOrder::released(this);
  }

  /// For libpulse's callbacks.
  void assertHeld() const TAVRO_ASSERTS_HELD() {
    if (Tavro::LockOrder::kIsChecked && pa_threaded_mainloop_in_thread(m_loop) == 0) {
      Tavro::LockOrder::requireHeld(this, kRank);
    }
  }

  /// Releases the lock until signal().
  void wait() TAVRO_REQUIRES(this) { pa_threaded_mainloop_wait(m_loop); }
  void signal() TAVRO_REQUIRES(this) { pa_threaded_mainloop_signal(m_loop, 0); }

  pa_mainloop_api* api() const { return pa_threaded_mainloop_get_api(m_loop); }

 private:
  static constexpr Tavro::LockRank kRank = Tavro::LockRank::ServerLoop;

  pa_threaded_mainloop* const m_loop;
};

}  // namespace Platform
