// SPDX-License-Identifier: MIT

#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "check/record/Journal.h"
#include "check/watch/Watch.h"
#include "host/TavroCore.h"

namespace Check {

/// What has registered itself with the session or its clock.
template <class T>
struct Registered : std::set<T*> {
  void add(T* one, const char* line) {
    const Watch::Pause pause;
    Journal::instance().add(line);
    this->insert(one);
  }
  void withdraw(T* one, const char* line) {
    const Watch::Pause pause;
    Journal::instance().add(line);
    misuseIf(this->erase(one) == 0, "something that is not registered is unregistered");
  }
};

/// A graph clock that stays at the time it was set to.
struct HandSetClock : Tavro::SessionClock {
  std::uint32_t currentTime() override {
    reads.fetch_add(1, std::memory_order_relaxed);
    callHook(onRead);
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

/// What a component reported about a buffer.
struct Report {
  std::uint32_t streamId;
  std::uint32_t state;  // BufferState
  const Tavro::MediaBuffer* buffer;
  bool operator==(const Report&) const = default;
};

/// A session with settings and a clock that the check sets. It keeps every report, and what is
/// registered with it.
class RecordingSession : public Tavro::GraphSessionInterface {
 public:
  bool getSetting(const Tavro::Setting& setting, Tavro::_Variant* out) override {
    const Watch::Pause pause;
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
    callHook(onReport, report);
    reportsOf.at(state < reportsOf.size() ? state : 0).fetch_add(1, std::memory_order_relaxed);
    if (Journal::instance().isRecording()) {
      const Watch::Pause pause;
      const std::lock_guard lock(m_lock);
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
    const Watch::Pause pause;
    Journal::instance().add("session.getClock");
    return &clock;
  }

  std::vector<Report> takeReports() {
    const Watch::Pause pause;
    const std::lock_guard lock(m_lock);
    return std::exchange(m_reports, {});
  }

  std::map<std::pair<std::string, std::string>, Tavro::_Variant> settings;  // by group and name
  HandSetClock clock;
  Registered<Tavro::SettingConsumer> consumers;
  std::function<void(const Report&)> onReport;
  std::array<std::atomic<unsigned>, 5> reportsOf{};  // ever, by BufferState; 0: unknown ones

 private:
  std::mutex m_lock;
  std::vector<Report> m_reports;
};

/// The upstream end of a connection, with the stream's identifier.
struct NumberedSource : Tavro::StreamSource {
  explicit NumberedSource(std::uint32_t streamId) : id(streamId) {}
  std::uint32_t streamId() override { return id; }
  const std::uint32_t id;
};

}  // namespace Check
