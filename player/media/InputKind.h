// SPDX-License-Identifier: MIT

#pragma once

#include <string>

namespace Player {

/// Returns what `path` is instead of an audio file, and what to name instead: for a folder, a
/// playlist, a text or an empty file. Returns an empty string for anything else.
std::string kindOfOtherInput(const std::string& path);

}  // namespace Player
