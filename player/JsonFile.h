#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace Player {

/// "-" is standard output. Throws PlayerError when it cannot be written.
void writeJson(const nlohmann::ordered_json& json, const std::string& path);

}  // namespace Player
