// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "player/base/Options.h"

namespace Player {

/// Reports on devices, without playing. Both return the report as text, or write it as JSON if a
/// path is given and return an empty string. Both throw PlayerError.

/// Lists the devices, and the file named as one.
std::string reportDevices(const Options& options);

/// Lists which formats of the chosen device accept AC-3 passthrough, of the input if there is one.
std::string reportPassthrough(const Options& options);

}  // namespace Player
