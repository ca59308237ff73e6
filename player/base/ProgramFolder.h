#pragma once

#include <filesystem>

namespace Player {

/// Where the program lies, and beside it whatever it loads.
inline std::filesystem::path programFolder() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

}  // namespace Player
