// SPDX-License-Identifier: MIT

#pragma once

#include <filesystem>

namespace Player {

/// Returns the program's folder, which also holds the modules it loads.
inline std::filesystem::path programFolder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

}  // namespace Player
