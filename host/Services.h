// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>

namespace Tavro {

/// The host's log. [any-thread] except real-time threads, as it formats and writes
class Logger {
 public:
  static Logger* instance();

  /// Logs one line: its category, the function and line it comes from, and printf-style text.
  void log(const char* category, const char* function, unsigned long line, const char* format,
           ...) const
#if defined(__GNUC__)
      __attribute__((format(printf, 5, 6)))
#endif
      ;
};

/// Returns the milliseconds of a monotonic clock. [any-thread], real-time safe
std::uint64_t GetTimeMS();

/// Blocks the calling thread. Never call it with a component lock held or from a callback.
void SleepMS(unsigned long long ms);

}  // namespace Tavro
