// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "check/bench/Words.h"
#include "check/record/Bytes.h"

namespace Check {

/// One way in which a bundle broke a promise, in words.
struct Finding {
  std::string expected;
  std::string happened;
  std::string when;
};

/// Thrown to end a promise whose further steps would mean nothing.
struct Abandoned {};

/// Thrown if a promise cannot be checked here.
struct NotChecked {
  std::string reason;
};

/// Collects what a promise finds, each with what has been done up to then.
class Findings {
 public:
  /// `time`: the times of host and graph in words, at the moment of a finding.
  explicit Findings(std::function<std::string()> time) : m_time(std::move(time)) {}

  /// Notes a step of the host, in words. [any-thread]
  void step(std::string what);

  /// Names the repetition of a loop in what is found during it.
  class Case {
   public:
    Case(Findings& findings, std::string name) : m_findings(findings) {
      m_findings.m_cases.push_back(std::move(name));
    }
    ~Case() { m_findings.m_cases.pop_back(); }
    Case(const Case&) = delete;
    Case& operator=(const Case&) = delete;

   private:
    Findings& m_findings;
  };

  bool expect(bool kept, std::string_view expected, std::string_view happened);

  template <class Got, class Wanted>
  bool expectEqual(std::string_view what, const Got& got, const Wanted& wanted) {
    return got == wanted || expect(false, std::string(what) + ": " + inWords(wanted), inWords(got));
  }

  bool expectBytes(std::string_view what, const Bytes& got, const Bytes& wanted);

  /// Ends the promise if it is not kept.
  void require(bool kept, std::string_view expected, std::string_view happened);

  const std::vector<Finding>& all() const { return m_all; }
  std::size_t omitted() const { return m_omitted; }

 private:
  std::string moment() const;

  std::function<std::string()> m_time;
  std::mutex m_stepLock;             // guards the steps, which several threads may take
  std::vector<std::string> m_steps;  // the last few
  std::vector<std::string> m_cases;
  std::vector<Finding> m_all;  // the first few
  std::size_t m_omitted = 0;
};

}  // namespace Check
