// SPDX-License-Identifier: MIT

#pragma once

#include <optional>

#include "player/base/ExitStatus.h"

/// Handles SIGINT, SIGTERM and SIGHUP (unless nohup ignores it). Before endCleanly() they end the
/// process at once, with 128 plus the signal's number: it may be blocked by an input or a server,
/// and has no output to complete. Afterwards the first signal requests a clean end, and the second
/// one ends the process at once.
namespace Player::SignalHandler {

void install();
void endCleanly();  // from now on

/// Returns the exit status of the signal that requested the end, if any. [any-thread]
std::optional<ExitStatus> requested();

}  // namespace Player::SignalHandler
