// SPDX-License-Identifier: MIT

#pragma once

#include <string>
#include <utility>
#include <vector>

#include "check/cli/Verdict.h"
#include "check/promises/Promise.h"

namespace Check {

/// A whole run: the promises that were checked, in order, each with its verdict.
struct Run {
  std::string bundlePath;
  std::vector<std::pair<Promise, Verdict>> results;

  std::size_t count(Outcome outcome) const;
  double seconds() const;
};

/// "  kept    early-buffers-wait   A buffer waits …", with three lines for each finding.
std::string lineOf(const Promise& promise, const Verdict& verdict);
std::string summaryOf(const Run& run);

std::string jsonOf(const Run& run);
std::string junitOf(const Run& run);  // JUnit's XML: a test suite for each subject

/// The promises with their subjects, without verdicts.
std::string listOf(const std::vector<Promise>& promises);

}  // namespace Check
