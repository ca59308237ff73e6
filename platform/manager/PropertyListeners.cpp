// SPDX-License-Identifier: MIT

#include "platform/manager/PropertyListeners.h"

#include <algorithm>
#include <deque>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "locks/Condition.h"
#include "locks/Mutex.h"

namespace Platform {
namespace {

class Listeners {
 public:
  void add(const PropertyListener& listener) {
    const Tavro::Lock lock(m_lock);
    if (!isKnown(listener)) {
      m_listeners.push_back(listener);
    }
    if (!std::exchange(m_isStarted, true)) {
      std::thread([this] { run(); }).detach();
    }
  }

  void remove(const PropertyListener& listener) {
    const Tavro::Lock lock(m_lock);
    std::erase(m_listeners, listener);
    while (m_teller != std::this_thread::get_id() && m_told == listener) {
      m_change.wait(m_lock);
    }
  }

  void notify(AudioObjectID object, AudioObjectPropertySelector selector) {
    const Tavro::Lock lock(m_lock);
    for (const PropertyListener& each : m_listeners) {
      if (each.object == object && each.selector == selector) {
        m_news.push_back(each);
        m_change.notifyAll();
      }
    }
  }

 private:
  bool isKnown(const PropertyListener& listener) const TAVRO_REQUIRES(m_lock) {
    return std::ranges::find(m_listeners, listener) != m_listeners.end();
  }

  [[noreturn]] void run() TAVRO_EXCLUDES(m_lock) {
    for (;;) {
      const PropertyListener next = awaitNext();
      const AudioObjectPropertyAddress address{next.selector, kAudioObjectPropertyScopeGlobal,
                                               kAudioObjectPropertyElementMaster};
      next.procedure(next.object, 1, &address, next.clientData);
      endCall();
    }
  }

  /// Returns the next one that was not removed meanwhile, as m_told.
  PropertyListener awaitNext() TAVRO_EXCLUDES(m_lock) {
    const Tavro::Lock lock(m_lock);
    m_teller = std::this_thread::get_id();
    while (!m_told) {
      while (m_news.empty()) {
        m_change.wait(m_lock);
      }
      if (isKnown(m_news.front())) {
        m_told = m_news.front();
      }
      m_news.pop_front();
    }
    return *m_told;
  }

  void endCall() TAVRO_EXCLUDES(m_lock) {
    const Tavro::Lock lock(m_lock);
    m_told.reset();
    m_change.notifyAll();
  }

  Tavro::Mutex<Tavro::LockRank::Listeners> m_lock;
  Tavro::Condition m_change;
  std::vector<PropertyListener> m_listeners TAVRO_GUARDED_BY(m_lock);
  std::deque<PropertyListener> m_news TAVRO_GUARDED_BY(m_lock);
  std::optional<PropertyListener> m_told TAVRO_GUARDED_BY(m_lock);  // a call of it is under way
  bool m_isStarted TAVRO_GUARDED_BY(m_lock) = false;
  std::thread::id m_teller TAVRO_GUARDED_BY(m_lock);
};

Listeners& listeners() {
  static auto* all = new Listeners;  // its thread may outlive every static's destructor
  return *all;
}

}  // namespace

void addListener(const PropertyListener& listener) { listeners().add(listener); }

void removeListener(const PropertyListener& listener) { listeners().remove(listener); }

void notifyListeners(AudioObjectID object, AudioObjectPropertySelector selector) {
  listeners().notify(object, selector);
}

}  // namespace Platform
