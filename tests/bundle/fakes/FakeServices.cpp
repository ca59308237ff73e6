#include "FakeServices.h"

#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <host/TavroCore.h>
#include <thread>
#include <utility>

#include "AllocationWatch.h"
#include "Journal.h"

namespace {
constexpr std::chrono::seconds kPatience{60};
}

SleepGate& SleepGate::instance() {
  static SleepGate gate;
  return gate;
}

void SleepGate::park() {
  std::lock_guard lock(m_lock);
  m_open = false;
  m_durations.clear();
}

void SleepGate::open() {
  std::lock_guard lock(m_lock);
  m_open = true;
  m_changed.notify_all();
}

void SleepGate::await(const char* what, std::unique_lock<std::mutex>& lock,
                      bool (SleepGate::*met)()) {
  if (!m_changed.wait_for(lock, kPatience, [&] { return (this->*met)(); })) {
    std::fprintf(stderr, "the feeder never %s\n", what);
    std::abort();
  }
}

void SleepGate::awaitSleeper() {
  std::unique_lock lock(m_lock);
  await("slept", lock, &SleepGate::sleeperHere);
}

void SleepGate::release() {
  std::lock_guard lock(m_lock);
  m_granted = m_arrivals;
  m_changed.notify_all();
}

void SleepGate::step() {
  std::unique_lock lock(m_lock);
  await("slept", lock, &SleepGate::sleeperHere);
  m_granted = m_arrivals;
  m_changed.notify_all();
  await("slept again", lock, &SleepGate::sleeperBack);
}

std::vector<unsigned long long> SleepGate::takeDurations() {
  std::lock_guard lock(m_lock);
  return std::exchange(m_durations, {});
}

void SleepGate::sleep(unsigned long long ms) {
  AllocationWatch::Pause pause;
  std::unique_lock lock(m_lock);
  if (m_open) {
    lock.unlock();
    std::this_thread::sleep_for(std::chrono::microseconds(100));
    return;
  }
  const std::uint64_t ticket = ++m_arrivals;
  ++m_asleep;
  m_durations.push_back(ms);
  m_changed.notify_all();
  m_changed.wait(lock, [&] { return m_open || m_granted >= ticket; });
  --m_asleep;
}

FakeWallClock& FakeWallClock::instance() {
  static FakeWallClock clock;
  return clock;
}

namespace Tavro {

std::uint64_t GetTimeMS() {
  FakeWallClock& clock = FakeWallClock::instance();
  clock.reads.fetch_add(1, std::memory_order_relaxed);
  return clock.ms.load(std::memory_order_relaxed);
}

void SleepMS(unsigned long long ms) { SleepGate::instance().sleep(ms); }

Logger* Logger::instance() {
  static Logger logger;
  return &logger;
}

void Logger::log(const char* category, const char* function, unsigned long line, const char* format,
                 ...) const {
  char text[256];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  Journal::instance().add(std::string("log ") + category + " " + function + " " +
                          std::to_string(line) + " " + text);
}

}  // namespace Tavro
