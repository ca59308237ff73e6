#pragma once

#include <string>

namespace Player {

/// Says what `path` is instead of a sound file, and what to name instead: a folder, a playlist, a
/// text or an empty file. Empty for anything else.
std::string kindOfOtherInput(const std::string& path);

}  // namespace Player
