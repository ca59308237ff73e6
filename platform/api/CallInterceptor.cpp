// SPDX-License-Identifier: MIT

#include "platform/api/CallInterceptor.h"

#include <algorithm>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "locks/Mutex.h"
#include "platform/manager/DeviceManager.h"
#include "platform/manager/IoProcedure.h"
#include "platform/unit/Graph.h"

namespace Platform {
namespace {

using AudioDevices::Script::Answer;
using AudioDevices::Script::Call;

struct PlannedFailure {
  std::string function;  // empty for any
  std::uint64_t callsLeft;
  OSStatus status;
};

struct State {
  Tavro::Mutex<Tavro::LockRank::CallScript> mutex;
  std::uint64_t epoch TAVRO_GUARDED_BY(mutex) = 0;  // grows with each reset
  bool recording TAVRO_GUARDED_BY(mutex) = false;
  std::vector<Call> calls TAVRO_GUARDED_BY(mutex);
  std::vector<PlannedFailure> failures TAVRO_GUARDED_BY(mutex);
  std::map<std::string, std::function<void()>> hooks TAVRO_GUARDED_BY(mutex);  // by function
  std::map<std::pair<AudioObjectID, AudioObjectPropertySelector>, Answer> objectAnswers
      TAVRO_GUARDED_BY(mutex);
  std::map<AudioUnitPropertyID, Answer> unitAnswers TAVRO_GUARDED_BY(mutex);
};

std::atomic<bool> active{false};  // a hint only: the state itself is guarded by its mutex

State& state() {
  static auto* only = new State;  // calls may come while the process exits
  return *only;
}

/// Counts the call against every planned failure, and removes one whose turn has come.
std::optional<OSStatus> takeFailure(State& script, const char* name) TAVRO_REQUIRES(script.mutex) {
  std::optional<OSStatus> status;
  for (PlannedFailure& planned : script.failures) {
    if (planned.function.empty() || planned.function == name) {
      if (--planned.callsLeft == 0) {
        status = planned.status;
      }
    }
  }
  std::erase_if(script.failures, [](const auto& planned) { return planned.callsLeft == 0; });
  return status;
}

std::function<void()> hookOf(const State& script, const char* name) TAVRO_REQUIRES(script.mutex) {
  const auto found = script.hooks.find(name);
  return found == script.hooks.end() ? std::function<void()>() : found->second;
}

template <class Key>
std::optional<Answer> lookUp(const std::map<Key, Answer>& answers, const Key& key) {
  const auto found = answers.find(key);
  return found == answers.end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

bool isScripted() { return active.load(std::memory_order_relaxed); }

InterceptedCall::InterceptedCall(const char* name, std::initializer_list<std::int64_t> arguments,
                                 const void* data, std::size_t dataBytes) {
  State& script = state();
  std::function<void()> hook;
  {
    const Tavro::Lock lock(script.mutex);
    m_failure = takeFailure(script, name);
    m_epoch = script.epoch;
    m_index = script.calls.size();
    if (script.recording) {
      const auto* bytes = static_cast<const std::uint8_t*>(data);
      script.calls.push_back(
          {.function = name,
           .arguments = arguments,
           .data = bytes ? std::vector(bytes, bytes + dataBytes) : std::vector<std::uint8_t>(),
           .status = {}});
    }
    hook = hookOf(script, name);
  }
  if (hook) {
    hook();
  }
}

OSStatus InterceptedCall::finish(OSStatus status) const {
  State& script = state();
  const Tavro::Lock lock(script.mutex);
  if (script.recording && script.epoch == m_epoch && m_index < script.calls.size()) {
    script.calls[m_index].status = status;
  }
  return status;
}

std::optional<Answer> scriptedObjectProperty(AudioObjectID object,
                                             AudioObjectPropertySelector selector) {
  if (!isScripted()) {
    return {};
  }
  State& script = state();
  const Tavro::Lock lock(script.mutex);
  return lookUp(script.objectAnswers, std::pair(object, selector));
}

std::optional<Answer> scriptedUnitProperty(AudioUnitPropertyID property) {
  if (!isScripted()) {
    return {};
  }
  State& script = state();
  const Tavro::Lock lock(script.mutex);
  return lookUp(script.unitAnswers, property);
}

}  // namespace Platform

namespace AudioDevices::Script {

using Platform::active;
using Platform::State;
using Platform::state;

void answerObjectProperty(AudioObjectID object, AudioObjectPropertySelector selector,
                          Answer answer) {
  State& script = state();
  const Tavro::Lock lock(script.mutex);
  script.objectAnswers[{object, selector}] = std::move(answer);
  active.store(true);
}

void answerUnitProperty(AudioUnitPropertyID property, Answer answer) {
  State& script = state();
  const Tavro::Lock lock(script.mutex);
  script.unitAnswers[property] = std::move(answer);
  active.store(true);
}

void failCall(const std::string& function, std::uint64_t nth, OSStatus status) {
  State& script = state();
  const Tavro::Lock lock(script.mutex);
  script.failures.push_back({function, std::max<std::uint64_t>(nth, 1), status});
  active.store(true);
}

void onCall(const std::string& function, std::function<void()> hook) {
  State& script = state();
  const Tavro::Lock lock(script.mutex);
  script.hooks[function] = std::move(hook);
  active.store(true);
}

void record() {
  State& script = state();
  const Tavro::Lock lock(script.mutex);
  if (!script.recording) {
    ++script.epoch;  // calls under way were not recorded
  }
  script.recording = true;
  active.store(true);
}

std::vector<Call> calls() {
  State& script = state();
  const Tavro::Lock lock(script.mutex);
  return script.calls;
}

void reset() {
  State& script = state();
  const Tavro::Lock lock(script.mutex);
  active.store(false);
  ++script.epoch;
  script.recording = false;
  script.calls.clear();
  script.failures.clear();
  script.hooks.clear();
  script.objectAnswers.clear();
  script.unitAnswers.clear();
}

Leftovers leftovers() {
  const auto handles = Platform::handleCounts();
  Leftovers left{.graphs = handles.graphs,
                 .units = handles.units,
                 .ioProcedures = Platform::ioProcedureCount(),
                 .runningDevices = 0};
  for (const auto& device : Platform::DeviceManager::instance().devices()) {
    left.runningDevices += device->hasClients() ? 1 : 0;
  }
  return left;
}

}  // namespace AudioDevices::Script
