#include "Journal.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "AllocationWatch.h"

Journal& Journal::instance() {
  static Journal journal;
  return journal;
}

void Journal::add(std::string line) {
  if (!recording()) {
    return;
  }
  AllocationWatch::Pause pause;
  std::lock_guard lock(m_lock);
  m_lines.push_back(std::move(line));
}

void Journal::violation(std::string what) {
  AllocationWatch::Pause pause;
  std::lock_guard lock(m_lock);
  m_violations.push_back(std::move(what));
}

std::vector<std::string> Journal::take() {
  std::lock_guard lock(m_lock);
  return std::exchange(m_lines, {});
}

std::vector<std::string> Journal::takeViolations() {
  std::lock_guard lock(m_lock);
  return std::exchange(m_violations, {});
}

std::vector<std::string> only(const std::vector<std::string>& lines,
                              const std::vector<std::string>& prefixes) {
  std::vector<std::string> chosen;
  std::copy_if(lines.begin(), lines.end(), std::back_inserter(chosen), [&](const auto& line) {
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [&](const auto& prefix) { return line.rfind(prefix, 0) == 0; });
  });
  return chosen;
}
