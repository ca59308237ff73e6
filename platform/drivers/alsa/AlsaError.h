// SPDX-License-Identifier: MIT

#pragma once

/// libasound's errors and messages as this layer's statuses and sentences.

#include <CoreAudio/CoreAudio.h>

#include <string>

namespace Platform {

/// Captures libasound's messages on this thread instead of printing them. From the first instance
/// on, messages on other threads are discarded. Not for a real-time thread.
class AlsaErrorCapture {
 public:
  AlsaErrorCapture();
  ~AlsaErrorCapture();
  AlsaErrorCapture(const AlsaErrorCapture&) = delete;
  AlsaErrorCapture& operator=(const AlsaErrorCapture&) = delete;

  /// Returns "what the error means (the first message, as that is the cause)".
  std::string explain(int error) const;

 private:
  static void hear(const char* file, int line, const char* function, int error, const char* format,
                   ...);
  std::string m_first;
};

/// Returns the status for a failed opening; `error` is negative, as libasound returns it.
OSStatus statusOf(int error);

/// Returns a sentence on what can be done about it.
std::string remedyFor(int error);

}  // namespace Platform
