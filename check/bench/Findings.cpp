// SPDX-License-Identifier: MIT

#include "check/bench/Findings.h"

#include <utility>

#include "check/record/Journal.h"
#include "check/watch/Watch.h"

namespace Check {
namespace {

constexpr std::size_t kMostKept = 5;
constexpr std::size_t kStepsKept = 4;

}  // namespace

void Findings::step(std::string what) {
  if (!Journal::instance().isRecording()) {
    return;  // nothing may order the threads
  }
  const Watch::Pause pause;
  const std::lock_guard lock(m_stepLock);
  m_steps.push_back(std::move(what));
  if (m_steps.size() > kStepsKept) {
    m_steps.erase(m_steps.begin());
  }
}

std::string Findings::moment() const {
  std::string text = m_time();
  for (const std::string& name : m_cases) {
    text += ", " + name;
  }
  std::string steps;
  for (const std::string& done : m_steps) {
    steps += (steps.empty() ? "; after: " : ", ") + done;
  }
  return text + steps;
}

bool Findings::expect(bool kept, std::string_view expected, std::string_view happened) {
  if (kept) {
    return true;
  }
  if (m_all.size() < kMostKept) {
    m_all.push_back({std::string(expected), std::string(happened), moment()});
  } else {
    ++m_omitted;
  }
  return false;
}

bool Findings::expectBytes(std::string_view what, const Bytes& got, const Bytes& wanted) {
  return got == wanted || expect(false, what, difference(got, wanted));
}

void Findings::require(bool kept, std::string_view expected, std::string_view happened) {
  if (!expect(kept, expected, happened)) {
    throw Abandoned();
  }
}

}  // namespace Check
