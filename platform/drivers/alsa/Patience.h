#pragma once

#include <functional>
#include <string>

namespace Platform {

/// Runs `step` on a thread of its own. False: it has not come back within kAlsaPatience, and is
/// left to itself; so it owns all that it uses. While it is, so is every further one of that name,
/// and is not even begun.
bool comesBack(const std::string& name, std::function<void()> step);

}  // namespace Platform
