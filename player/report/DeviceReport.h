#pragma once

#include <string>

#include "player/base/Options.h"

namespace Player {

/// What there is to play on, without playing. Answers text; with a path for JSON the report goes
/// there and the text is empty. Both throw PlayerError.

/// The devices, and the file that is named as one.
std::string reportDevices(const Options& options);

/// What of the chosen device takes AC-3 as it is: the input's, if there is one.
std::string reportPassthrough(const Options& options);

}  // namespace Player
