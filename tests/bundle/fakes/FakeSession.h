// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <host/TavroCore.h>
#include <map>
#include <mutex>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "AllocationWatch.h"
#include "Journal.h"

/// What registered itself with the session or its clock.
template <class T>
struct Registered : std::set<T*> {
  void add(T* one, const char* line) {
    AllocationWatch::Pause pause;
    Journal::instance().add(line);
    this->insert(one);
  }
  void withdraw(T* one, const char* line) {
    Journal::instance().add(line);
    violationIf(this->erase(one) == 0, "something unknown is unregistered");
  }
};

/// The graph clock of a test: stands where it is set.
struct FakeClock : Tavro::SessionClock {
  std::uint32_t currentTime() override {
    reads.fetch_add(1, std::memory_order_relaxed);
    if (onRead) {
      onRead();
    }
    return ms.load(std::memory_order_relaxed);
  }
  void addTimeBase(Tavro::TimeBaseInterface* timeBase) override {
    timeBases.add(timeBase, "clock.addTimeBase");
  }
  void removeTimeBase(Tavro::TimeBaseInterface* timeBase) override {
    timeBases.withdraw(timeBase, "clock.removeTimeBase");
  }

  std::atomic<std::uint32_t> ms{0};
  std::atomic<unsigned> reads{0};
  Registered<Tavro::TimeBaseInterface> timeBases;
  std::function<void()> onRead;
};

/// What the component said of a buffer.
struct Report {
  std::uint32_t streamId;
  std::uint32_t state;
  const Tavro::MediaBuffer* buffer;
  bool operator==(const Report&) const = default;
};

inline void PrintTo(const Report& report, std::ostream* out) {  // for the test framework
  *out << "stream " << report.streamId << " state " << report.state << " stamped "
       << report.buffer->timeStamp;
}

/// The session of a test: its settings, its clock, and what is registered with it and reported.
class FakeSession : public Tavro::GraphSessionInterface {
 public:
  bool getSetting(const Tavro::Setting& setting, Tavro::_Variant* out) override {
    AllocationWatch::Pause pause;
    const std::string group = setting.group.m_data;
    const std::string name = setting.name.m_data;
    Journal::instance().add("session.getSetting " +
                            std::to_string(static_cast<unsigned>(setting.mediaType)) + " " + group +
                            " " + name);
    const auto found = settings.find({group, name});
    if (found == settings.end()) {
      return false;
    }
    *out = found->second;
    return true;
  }

  void reportBuffer(std::uint32_t streamId, std::uint32_t state,
                    Tavro::MediaBuffer* buffer) override {
    const Report report{streamId, state, buffer};
    if (onReport) {
      onReport(report);
    }
    reportsOf.at(state).fetch_add(1, std::memory_order_relaxed);
    if (Journal::instance().recording()) {
      AllocationWatch::Pause pause;
      std::lock_guard lock(m_lock);
      m_reports.push_back(report);
    }
  }

  void registerSettingConsumer(Tavro::SettingConsumer* consumer) override {
    consumers.add(consumer, "session.registerSettingConsumer");
  }
  void unregisterSettingConsumer(Tavro::SettingConsumer* consumer) override {
    consumers.withdraw(consumer, "session.unregisterSettingConsumer");
  }

  Tavro::SessionClock* getClock() override {
    AllocationWatch::Pause pause;
    Journal::instance().add("session.getClock");
    return &clock;
  }

  std::vector<Report> takeReports() {
    std::lock_guard lock(m_lock);
    return std::exchange(m_reports, {});
  }

  std::map<std::pair<std::string, std::string>, Tavro::_Variant> settings;  // by group and name
  FakeClock clock;
  Registered<Tavro::SettingConsumer> consumers;
  std::function<void(const Report&)> onReport;
  std::array<std::atomic<unsigned>, 8> reportsOf{};  // ever, by state

 private:
  std::mutex m_lock;
  std::vector<Report> m_reports;
};

/// The upstream end of the connection.
struct FakeSource : Tavro::StreamSource {
  explicit FakeSource(std::uint32_t streamId) : id(streamId) {}
  std::uint32_t streamId() override { return id; }
  const std::uint32_t id;
};
