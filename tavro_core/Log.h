// SPDX-License-Identifier: MIT

#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

/// The host's side of the log: its sink and its level. Lines of plug-ins (Logger::log) are Verbose.
/// [any-thread] except real-time threads; lines of several threads do not mix.
namespace Tavro {

enum class LogLevel : std::uint8_t { Error, Warning, Info, Verbose };

/// Lines above the level are not even formatted. The initial level is Warning.
void setLogLevel(LogLevel level);

/// Receives each line, without its end; with an empty function, lines go to standard error again.
/// Called with the log's lock held: it must not log.
using LogSink = std::function<void(LogLevel level, std::string_view line)>;
void setLogSink(LogSink sink);

/// Logs a line of the host: "category: text".
void logLine(LogLevel level, const char* category, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

}  // namespace Tavro
