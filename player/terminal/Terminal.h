// SPDX-License-Identifier: MIT

#pragma once

namespace Player::Terminal {

/// Returns true while this process may read the terminal and overwrite its lines. Returns false
/// only for a background job, which must leave the terminal to the shell. Async-signal-safe.
/// [any-thread]
bool isOurs(int file);

/// Returns the terminal's current number of columns, or 0 if unknown.
unsigned columns(int file);

}  // namespace Player::Terminal
