// SPDX-License-Identifier: MIT

#pragma once

/// Marks for what runs on a real-time thread, read by clang 20 and later: its analysis of function
/// effects when it compiles, its RealtimeSanitizer when the program runs. For other compilers they
/// are empty.

#if defined(__clang__) && __clang_major__ >= 20
#define TAVRO_NONBLOCKING [[clang::nonblocking]]

// Statements that call code which the analysis cannot see into, such as a host's or the C
// library's. The sanitizer watches them like all others.
#define TAVRO_CALLS_OUT(...)                                                                  \
  _Pragma("clang diagnostic push") _Pragma("clang diagnostic ignored \"-Wfunction-effects\"") \
      __VA_ARGS__ _Pragma("clang diagnostic pop")
#else
#define TAVRO_NONBLOCKING
#define TAVRO_CALLS_OUT(...) __VA_ARGS__
#endif

// TAVRO_MAY_BLOCK: until the end of the block the sanitizer reports nothing. For a wait that the
// design names, and for what a test does on a real-time thread on purpose.
#if defined(__has_feature)
#if __has_feature(realtime_sanitizer)
#include <sanitizer/rtsan_interface.h>
#define TAVRO_WATCHES_REAL_TIME
#define TAVRO_MAY_BLOCK const __rtsan::ScopedDisabler mayBlock
#endif
#endif
#if !defined(TAVRO_MAY_BLOCK)
#define TAVRO_MAY_BLOCK static_cast<void>(0)
#endif
