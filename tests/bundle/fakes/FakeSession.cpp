#include "FakeSession.h"

#include <ostream>

#include "AllocationWatch.h"
#include "Journal.h"

namespace {

void note(const std::string& line) { Journal::instance().add(line); }

template <class T>
void withdraw(std::multiset<T*>& registered, T* one, const char* what) {
  const auto found = registered.find(one);
  if (found == registered.end()) {
    Journal::instance().violation(std::string("an unknown ") + what + " is unregistered");
    return;
  }
  registered.erase(found);
}

}  // namespace

void PrintTo(const Report& report, std::ostream* out) {
  *out << "stream " << report.streamId << " state " << report.state << " stamped "
       << report.buffer->timeStamp;
}

std::uint32_t FakeClock::currentTime() {
  reads.fetch_add(1, std::memory_order_relaxed);
  if (onRead) {
    onRead();
  }
  return ms.load(std::memory_order_relaxed);
}

void FakeClock::addTimeBase(Tavro::TimeBaseInterface* timeBase) {
  note("clock.addTimeBase");
  timeBases.insert(timeBase);
}

void FakeClock::removeTimeBase(Tavro::TimeBaseInterface* timeBase) {
  note("clock.removeTimeBase");
  withdraw(timeBases, timeBase, "time base");
}

bool FakeSession::getSetting(const Tavro::Setting& setting, Tavro::_Variant* out) {
  const std::string group = setting.group.m_data != nullptr ? setting.group.m_data : "";
  const std::string name = setting.name.m_data != nullptr ? setting.name.m_data : "";
  note("session.getSetting " + std::to_string(static_cast<unsigned>(setting.mediaType)) + " " +
       group + " " + name);
  const auto found = m_settings.find({group, name});
  if (found == m_settings.end()) {
    return false;
  }
  *out = found->second;
  return true;
}

void FakeSession::reportBuffer(std::uint32_t streamId, std::uint32_t state,
                               Tavro::MediaBuffer* buffer) {
  const Report report{streamId, state, buffer};
  if (onReport) {
    onReport(report);
  }
  m_counts[state % 8].fetch_add(1, std::memory_order_relaxed);
  if (Journal::instance().recording()) {
    AllocationWatch::Pause pause;
    std::lock_guard lock(m_lock);
    m_reports.push_back(report);
  }
}

void FakeSession::registerSettingConsumer(Tavro::SettingConsumer* consumer) {
  note("session.registerSettingConsumer");
  consumers.insert(consumer);
}

void FakeSession::unregisterSettingConsumer(Tavro::SettingConsumer* consumer) {
  note("session.unregisterSettingConsumer");
  withdraw(consumers, consumer, "setting consumer");
}

Tavro::SessionClock* FakeSession::getClock() {
  note("session.getClock");
  return &clock;
}

void FakeSession::set(const std::string& group, const std::string& name, Tavro::_Variant value) {
  m_settings[{group, name}] = value;
}

std::vector<Report> FakeSession::takeReports() {
  std::lock_guard lock(m_lock);
  return std::exchange(m_reports, {});
}

unsigned FakeSession::reportsOf(std::uint32_t state) const { return m_counts[state % 8]; }
