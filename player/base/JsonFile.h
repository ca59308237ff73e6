#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace Player {

/// Throws PlayerError (usage) for a path that cannot be written; the file there stays as it is.
void requireWritable(const std::string& path);

/// "-" is standard output. Throws PlayerError when it cannot be written.
void writeJson(const nlohmann::ordered_json& json, const std::string& path);

}  // namespace Player
