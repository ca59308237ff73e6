// SPDX-License-Identifier: MIT

#pragma once

#include <nlohmann/json_fwd.hpp>

#include <string>

namespace Player {

/// Throws PlayerError (usage) if `path` is not writable; leaves an existing file unchanged.
void requireWritable(const std::string& path);

/// Writes to `path`, or to standard output for "-". Throws PlayerError if writing fails.
void writeJson(const nlohmann::ordered_json& json, const std::string& path);

}  // namespace Player
