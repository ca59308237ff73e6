// SPDX-License-Identifier: MIT

#include "player/base/JsonFile.h"

#include <nlohmann/json.hpp>

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <system_error>
#include <unistd.h>

#include "player/base/ExitStatus.h"

namespace Player {

void requireWritable(const std::string& path) {
  namespace fs = std::filesystem;
  const auto isOpen = [](const fs::path& what, int mode) {
    return faccessat(AT_FDCWD, what.c_str(), mode, AT_EACCESS) == 0;
  };
  std::error_code ignored;
  std::error_code error;
  if (fs::is_directory(path, ignored)) {
    error = std::make_error_code(std::errc::is_a_directory);
  } else if (!isOpen(fs::exists(path, ignored) ? fs::path(path) : fs::absolute(path).parent_path(),
                     W_OK)) {
    error = {errno, std::generic_category()};
  }
  if (error) {
    throw PlayerError(ExitStatus::Usage, "cannot write " + path + ": " + error.message());
  }
}

void writeJson(const nlohmann::ordered_json& json, const std::string& path) {
  const std::string text = json.dump(2) + "\n";
  if (path == "-") {
    if (!(std::cout << text << std::flush)) {
      throw PlayerError(ExitStatus::PlaybackFailed, "cannot write to standard output");
    }
    return;
  }
  std::ofstream file(path, std::ios::binary);
  file << text;
  file.close();
  if (!file) {
    throw PlayerError(ExitStatus::PlaybackFailed, "cannot write " + path);
  }
}

}  // namespace Player
