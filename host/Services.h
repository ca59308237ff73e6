#pragma once

#include <cstdint>

namespace Tavro {

/// The host's log. [any-thread]; formats and writes, so never from a real-time thread.
class Logger {
 public:
  static Logger* instance();

  /// One line: what it is about, the function and line it comes from, printf-style text.
  void log(const char* category, const char* function, unsigned long line, const char* format,
           ...) const
#if defined(__GNUC__)
      __attribute__((format(printf, 5, 6)))
#endif
      ;
};

/// Milliseconds of a clock that never goes back. [any-thread], real-time safe
std::uint64_t GetTimeMS();

/// Blocks the calling thread. Never while it holds a component lock, never from a callback.
void SleepMS(unsigned long long ms);

}  // namespace Tavro
