// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "check/cli/Verdict.h"
#include "check/promises/Promise.h"

namespace Check {

/// Checks a promise in a process of its own, which loads the bundle. A bundle that crashes, hangs
/// or ends the process breaks that promise and no other. The calling process must have one thread.
Verdict checkIsolated(const Promise& promise, const std::string& bundlePath,
                      unsigned timeoutSeconds);

/// Returns why the bundle cannot be loaded or makes no component; empty if it can be checked.
std::string reasonNotToCheck(const std::string& bundlePath, unsigned timeoutSeconds);

}  // namespace Check
