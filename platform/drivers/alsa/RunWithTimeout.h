// SPDX-License-Identifier: MIT

#pragma once

#include <functional>
#include <string>

namespace Platform {

/// Runs `step` on a thread of its own. Returns false if it does not end within kAlsaTimeout; it is
/// then abandoned, so it must own all that it uses. While it runs, a further step of that name
/// returns false without starting.
bool runWithTimeout(const std::string& name, std::function<void()> step);

}  // namespace Platform
