#pragma once

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

/// One ordered record of what the bundle asked of its surroundings, in the words of a test, and of
/// what it did that no program may do. [any-thread]
class Journal {
 public:
  static Journal& instance();

  void add(std::string line);
  void violation(std::string what);  // kept even while lines are not

  /// The lines since the last take.
  std::vector<std::string> take();
  std::vector<std::string> takeViolations();

  /// Off: lines are dropped without a lock, so that the record orders no threads that the bundle
  /// leaves unordered.
  void record(bool on) { m_recording.store(on, std::memory_order_relaxed); }
  bool recording() const { return m_recording.load(std::memory_order_relaxed); }

 private:
  std::atomic<bool> m_recording{true};
  std::mutex m_lock;
  std::vector<std::string> m_lines;
  std::vector<std::string> m_violations;
};

/// The lines that begin with one of the prefixes, in order.
std::vector<std::string> only(const std::vector<std::string>& lines,
                              const std::vector<std::string>& prefixes);
