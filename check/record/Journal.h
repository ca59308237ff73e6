// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "check/watch/Watch.h"
#include "locks/NonBlocking.h"

namespace Check {

using Lines = std::vector<std::string>;

/// What a component asked of its session, in order, as one line each; and its misuses: what it did
/// with a host's object that no component may do. One per process. [any-thread]
class Journal {
 public:
  static Journal& instance() {
    static Journal journal;
    return journal;
  }

  void add(std::string line) {
    if (isRecording()) {
      append(m_lines, std::move(line));
    }
  }

  /// Recorded even while lines are not.
  void misuse(std::string what) { append(m_misuses, std::move(what)); }

  /// Returns the lines since the last take that begin with one of the prefixes, and drops the rest.
  Lines take(const Lines& prefixes = {""}) {
    Lines lines = exchange(m_lines);
    std::erase_if(lines, [&](const std::string& line) {
      return std::ranges::none_of(prefixes, [&](const auto& p) { return line.starts_with(p); });
    });
    return lines;
  }

  Lines takeMisuses() { return exchange(m_misuses); }

  /// Off: lines are dropped without a lock, so that the record orders no threads that the bundle
  /// leaves unordered.
  void setRecording(bool on) { m_recording.store(on, std::memory_order_relaxed); }
  bool isRecording() const { return m_recording.load(std::memory_order_relaxed); }

 private:
  void append(Lines& lines, std::string line) {
    const Watch::Pause pause;
    const std::lock_guard lock(m_lock);
    lines.push_back(std::move(line));
  }

  Lines exchange(Lines& lines) {
    const Watch::Pause pause;
    const std::lock_guard lock(m_lock);
    return std::exchange(lines, {});
  }

  std::atomic<bool> m_recording{true};
  std::mutex m_lock;
  Lines m_lines;
  Lines m_misuses;
};

inline void misuseIf(bool wrong, const char* what) {
  if (wrong) {
    Journal::instance().misuse(what);
  }
}

/// Calls a hook of the check, if it is set. It may allocate and wait, whatever the thread.
template <class Hook, class... Arguments>
void callHook(const Hook& hook, const Arguments&... arguments) {
  if (hook) {
    TAVRO_MAY_BLOCK;
    hook(arguments...);
  }
}

}  // namespace Check
