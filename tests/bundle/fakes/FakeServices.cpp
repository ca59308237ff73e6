// SPDX-License-Identifier: MIT

#include "FakeServices.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <host/TavroCore.h>
#include <string>
#include <thread>

#include "AllocationWatch.h"
#include "Journal.h"

void SleepGate::sleep() {
  AllocationWatch::Pause pause;
  std::unique_lock lock(m_lock);
  if (m_open) {
    lock.unlock();
    std::this_thread::sleep_for(std::chrono::microseconds(100));
    return;
  }
  const std::uint64_t ticket = ++m_arrivals;
  ++m_asleep;
  m_changed.notify_all();
  m_changed.wait(lock, [&] { return m_open || m_granted >= ticket; });
  --m_asleep;
}

namespace Tavro {

std::uint64_t GetTimeMS() {
  FakeWallClock& clock = FakeWallClock::instance();
  clock.reads.fetch_add(1, std::memory_order_relaxed);
  return clock.ms.load(std::memory_order_relaxed);
}

void SleepMS(unsigned long long) { SleepGate::instance().sleep(); }

Logger* Logger::instance() {
  static Logger logger;
  return &logger;
}

void Logger::log(const char* category, const char* function, unsigned long line, const char* format,
                 ...) const {
  AllocationWatch::Pause pause;
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  Journal::instance().add(std::string("log ") + category + " " + function + " " +
                          std::to_string(line) + " " + text);
}

}  // namespace Tavro
