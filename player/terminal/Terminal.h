#pragma once

namespace Player::Terminal {

/// Returns true while this process may read the terminal and write over its lines. Returns false
/// only for a background job, which must leave the terminal to the shell. In signal handlers, too.
/// [any-thread]
bool isOurs(int file);

/// Returns the terminal's columns at the moment, or 0 if they are not known.
unsigned columns(int file);

}  // namespace Player::Terminal
