#pragma once

#include <functional>

namespace Platform {

/// Runs `step` on a thread of its own. False: it has not come back within kAlsaPatience, and is
/// left to itself; so it owns all that it uses.
bool comesBack(std::function<void()> step);

}  // namespace Platform
