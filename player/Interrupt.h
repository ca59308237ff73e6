#pragma once

namespace Player::Interrupt {

/// SIGINT and SIGTERM ask for a clean end; the second of them ends the process at once.
void install();
bool isRequested();

}  // namespace Player::Interrupt
