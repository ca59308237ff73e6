#include "player/JsonFile.h"

#include <nlohmann/json.hpp>

#include <fstream>
#include <iostream>

#include "player/ExitStatus.h"

namespace Player {

void writeJson(const nlohmann::ordered_json& json, const std::string& path) {
  const std::string text = json.dump(2) + "\n";
  if (path == "-") {
    std::cout << text << std::flush;
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
