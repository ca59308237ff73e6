#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <host/TavroCore.h>
#include <iosfwd>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <utility>
#include <vector>

/// The graph clock of a test: stands where it is set.
class FakeClock : public Tavro::SessionClock {
 public:
  std::uint32_t currentTime() override;
  void addTimeBase(Tavro::TimeBaseInterface* timeBase) override;
  void removeTimeBase(Tavro::TimeBaseInterface* timeBase) override;

  std::atomic<std::uint32_t> ms{0};
  std::atomic<unsigned> reads{0};
  std::multiset<Tavro::TimeBaseInterface*> timeBases;
  std::function<void()> onRead;
};

/// What the component said of a buffer.
struct Report {
  std::uint32_t streamId;
  std::uint32_t state;
  const Tavro::MediaBuffer* buffer;
  bool operator==(const Report&) const = default;
};
void PrintTo(const Report& report, std::ostream* out);  // for the test framework

/// The session of a test: its settings, its clock, and what is registered with it and reported.
class FakeSession : public Tavro::GraphSessionInterface {
 public:
  bool getSetting(const Tavro::Setting& setting, Tavro::_Variant* out) override;
  void reportBuffer(std::uint32_t streamId, std::uint32_t state,
                    Tavro::MediaBuffer* buffer) override;
  void registerSettingConsumer(Tavro::SettingConsumer* consumer) override;
  void unregisterSettingConsumer(Tavro::SettingConsumer* consumer) override;
  Tavro::SessionClock* getClock() override;

  void set(const std::string& group, const std::string& name, Tavro::_Variant value);
  std::vector<Report> takeReports();
  unsigned reportsOf(std::uint32_t state) const;  // ever

  FakeClock clock;
  std::multiset<Tavro::SettingConsumer*> consumers;
  std::function<void(const Report&)> onReport;

 private:
  std::map<std::pair<std::string, std::string>, Tavro::_Variant> m_settings;
  std::mutex m_lock;
  std::vector<Report> m_reports;
  std::atomic<unsigned> m_counts[8] = {};
};

/// The upstream end of the connection.
class FakeSource : public Tavro::StreamSource {
 public:
  explicit FakeSource(std::uint32_t id) : m_id(id) {}
  std::uint32_t streamId() override { return m_id; }

 private:
  std::uint32_t m_id;
};
