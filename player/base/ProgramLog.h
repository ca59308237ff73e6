// SPDX-License-Identifier: MIT

#pragma once

#include <string>

#include "tavro_core/Log.h"

namespace Player {

/// Log lines of the program. [any-thread] except real-time threads

inline void logLine(Tavro::LogLevel level, const std::string& line) {
  Tavro::logLine(level, "tavro-play", "%s", line.c_str());
}

inline void logError(const std::string& line) { logLine(Tavro::LogLevel::Error, line); }
inline void logInfo(const std::string& line) { logLine(Tavro::LogLevel::Info, line); }

}  // namespace Player
