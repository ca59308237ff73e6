// SPDX-License-Identifier: MIT

#include "platform/drivers/alsa/RunWithTimeout.h"

#include <future>
#include <memory>
#include <set>
#include <thread>
#include <utility>

#include "locks/Mutex.h"
#include "platform/driver/Alsa.h"

namespace Platform {

namespace {

/// Names whose step is running.
class Underway {
 public:
  bool add(const std::string& name) {
    const Tavro::Lock lock(m_lock);
    return m_names.insert(name).second;
  }
  void remove(const std::string& name) {
    const Tavro::Lock lock(m_lock);
    m_names.erase(name);
  }

 private:
  Tavro::Mutex<Tavro::LockRank::AlsaSteps> m_lock;
  std::set<std::string> m_names TAVRO_GUARDED_BY(m_lock);
};

Underway& underway() {
  static auto* names = new Underway;  // an abandoned thread may outlive every static's destructor
  return *names;
}

}  // namespace

bool runWithTimeout(const std::string& name, std::function<void()> step) {
  if (!underway().add(name)) {
    return false;
  }
  const auto done = std::make_shared<std::promise<void>>();
  const std::future<void> back = done->get_future();
  std::thread([done, name, step = std::move(step)] {
    step();
    underway().remove(name);
    done->set_value();
  }).detach();
  return back.wait_for(kAlsaTimeout) == std::future_status::ready;
}

}  // namespace Platform
