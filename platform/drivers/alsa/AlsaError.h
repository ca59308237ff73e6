#pragma once

/// What libasound answers and says, in this layer's statuses and sentences.

#include <CoreAudio/CoreAudio.h>

#include <string>

namespace Platform {

/// While it lives, what libasound says on this thread is kept, not printed. What it says elsewhere
/// is dropped, from the first one in the process on. Not for a real-time thread.
class Chatter {
 public:
  Chatter();
  ~Chatter();
  Chatter(const Chatter&) = delete;
  Chatter& operator=(const Chatter&) = delete;

  /// "what the error means (what was said first, as that is the cause)"
  std::string explain(int error) const;

 private:
  static void hear(const char* file, int line, const char* function, int error, const char* format,
                   ...);
  std::string m_first;
};

/// Of an answer to opening; `error` is negative, as libasound answers it.
OSStatus statusOf(int error);

/// What can be done about it, as the end of a sentence.
std::string remedyFor(int error);

}  // namespace Platform
