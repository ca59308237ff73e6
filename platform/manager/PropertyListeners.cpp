// SPDX-License-Identifier: MIT

#include "platform/manager/PropertyListeners.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

namespace Platform {
namespace {

class Listeners {
 public:
  void add(const PropertyListener& listener) {
    const std::lock_guard lock(m_lock);
    if (!isKnown(listener)) {
      m_listeners.push_back(listener);
    }
    if (!std::exchange(m_isStarted, true)) {
      std::thread([this] { run(); }).detach();
    }
  }

  void remove(const PropertyListener& listener) {
    std::unique_lock lock(m_lock);
    std::erase(m_listeners, listener);
    if (m_teller != std::this_thread::get_id()) {
      m_change.wait(lock, [&] { return m_told != listener; });
    }
  }

  void notify(AudioObjectID object, AudioObjectPropertySelector selector) {
    const std::lock_guard lock(m_lock);
    for (const PropertyListener& each : m_listeners) {
      if (each.object == object && each.selector == selector) {
        m_news.push_back(each);
        m_change.notify_all();
      }
    }
  }

 private:
  bool isKnown(const PropertyListener& listener) const {
    return std::ranges::find(m_listeners, listener) != m_listeners.end();
  }

  void run() {
    std::unique_lock lock(m_lock);
    m_teller = std::this_thread::get_id();
    for (;;) {
      m_change.wait(lock, [this] { return !m_news.empty(); });
      const PropertyListener next = m_news.front();
      m_news.pop_front();
      if (isKnown(next)) {
        m_told = next;
        lock.unlock();
        const AudioObjectPropertyAddress address{next.selector, kAudioObjectPropertyScopeGlobal,
                                                 kAudioObjectPropertyElementMaster};
        next.procedure(next.object, 1, &address, next.clientData);
        lock.lock();
        m_told.reset();
        m_change.notify_all();
      }
    }
  }

  std::mutex m_lock;  // a leaf lock
  std::condition_variable m_change;
  std::vector<PropertyListener> m_listeners;
  std::deque<PropertyListener> m_news;
  std::optional<PropertyListener> m_told;  // a call of it is under way
  bool m_isStarted = false;
  std::thread::id m_teller;
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
