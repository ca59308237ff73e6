// SPDX-License-Identifier: MIT

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "check/bench/Findings.h"

namespace Check {

enum class Outcome : std::uint8_t { Kept, Broken, NotChecked };

/// The result for one promise.
struct Verdict {
  Outcome outcome = Outcome::Broken;
  std::string reason;  // why it was not checked, or how its process ended
  std::vector<Finding> findings;
  std::size_t omitted = 0;  // findings beyond the first few
  double seconds = 0;
};

}  // namespace Check
