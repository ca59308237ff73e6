#pragma once

#include <optional>

#include "player/base/ExitStatus.h"

/// SIGINT, SIGTERM and SIGHUP (unless nohup ignores it). At first they end the process at once,
/// with 128 and the signal's number: an input or a server may keep it waiting then, and there is
/// nothing to complete. Once there is, the first one asks for a clean end, and the second one ends
/// the process at once.
namespace Player::Interrupt {

void install();
void endCleanly();  // from now on

/// Returns the exit status of the signal that has asked for an end, if one has. [any-thread]
std::optional<ExitStatus> requested();

}  // namespace Player::Interrupt
