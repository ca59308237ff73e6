// SPDX-License-Identifier: MIT

#include "tavro_core/Log.h"

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <string>
#include <utility>

#include "host/Services.h"
#include "locks/Mutex.h"

namespace Tavro {

namespace {

std::atomic<LogLevel> s_level{LogLevel::Warning};
Mutex<LockRank::LogLines> s_lock;  // also orders lines
LogSink s_sink TAVRO_GUARDED_BY(s_lock);

std::string formatted(const char* format, va_list arguments) {
  va_list again;
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
  std::vsnprintf(text.data(), text.size() + 1, format, again);
  va_end(again);
  return text;
}

void emit(LogLevel level, const char* category, const char* format, va_list arguments) {
  const std::string line = std::string(category) + ": " + formatted(format, arguments);
  const Lock guard(s_lock);
  if (s_sink) {
    s_sink(level, line);
  } else {
    std::fprintf(stderr, "%s\n", line.c_str());
  }
}

bool isHeard(LogLevel level) { return level <= s_level.load(std::memory_order_relaxed); }

}  // namespace

void setLogLevel(LogLevel level) { s_level.store(level, std::memory_order_relaxed); }

void setLogSink(LogSink sink) {
  const Lock guard(s_lock);
  s_sink = std::move(sink);
}

void logLine(LogLevel level, const char* category, const char* format, ...) {
  if (!isHeard(level)) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  emit(level, category, format, arguments);
  va_end(arguments);
}

Logger* Logger::instance() {
  static Logger logger;
  return &logger;
}

void Logger::log(const char* category, const char*, unsigned long, const char* format, ...) const {
  if (!isHeard(LogLevel::Verbose)) {
    return;
  }
  va_list arguments;
  va_start(arguments, format);
  emit(LogLevel::Verbose, category, format, arguments);
  va_end(arguments);
}

}  // namespace Tavro
