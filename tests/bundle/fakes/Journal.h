// SPDX-License-Identifier: MIT

#pragma once

#include <algorithm>
#include <atomic>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "AllocationWatch.h"

using Lines = std::vector<std::string>;

/// One ordered record of what the bundle asked of its surroundings, in the words of a test, and of
/// what it did that no program may do. [any-thread]
class Journal {
 public:
  static Journal& instance() {
    static Journal journal;
    return journal;
  }

  void add(std::string line) {
    if (recording()) {
      append(m_lines, std::move(line));
    }
  }

  /// Kept even while lines are not.
  void violation(std::string what) { append(m_violations, std::move(what)); }

  /// The lines since the last take; of them those that begin with one of the prefixes, in order.
  Lines take(const Lines& prefixes = {""}) {
    Lines lines = exchange(m_lines);
    std::erase_if(lines, [&](const std::string& line) {
      return std::ranges::none_of(prefixes, [&](const auto& p) { return line.starts_with(p); });
    });
    return lines;
  }

  Lines takeViolations() { return exchange(m_violations); }

  /// Off: lines are dropped without a lock, so that the record orders no threads that the bundle
  /// leaves unordered.
  void record(bool on) { m_recording.store(on, std::memory_order_relaxed); }
  bool recording() const { return m_recording.load(std::memory_order_relaxed); }

 private:
  void append(Lines& lines, std::string line) {
    AllocationWatch::Pause pause;
    std::lock_guard lock(m_lock);
    lines.push_back(std::move(line));
  }

  Lines exchange(Lines& lines) {
    std::lock_guard lock(m_lock);
    return std::exchange(lines, {});
  }

  std::atomic<bool> m_recording{true};
  std::mutex m_lock;
  Lines m_lines;
  Lines m_violations;
};

inline void violationIf(bool wrong, const char* what) {
  if (wrong) {
    Journal::instance().violation(what);
  }
}
