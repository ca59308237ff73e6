#pragma once

#include <cstdint>
#include <functional>
#include <string_view>

/// The host's side of the log: who hears it, and how much. Lines of plug-ins (Logger::log) are
/// Verbose. [any-thread] but the real-time ones; lines of several threads do not mix.
namespace Tavro {

enum class LogLevel : std::uint8_t { Error, Warning, Info, Verbose };

/// Lines above the level are not even formatted. Warning at first.
void setLogLevel(LogLevel level);

/// Takes each line, without its end; an empty function gives lines back to standard error. Called
/// with the log's lock held: it must not log.
using LogSink = std::function<void(LogLevel level, std::string_view line)>;
void setLogSink(LogSink sink);

/// A line of the host's own: "category: text".
void logLine(LogLevel level, const char* category, const char* format, ...)
#if defined(__GNUC__)
    __attribute__((format(printf, 3, 4)))
#endif
    ;

}  // namespace Tavro
