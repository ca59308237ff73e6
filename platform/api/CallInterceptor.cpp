// SPDX-License-Identifier: MIT

#include "platform/api/CallInterceptor.h"

#include <algorithm>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

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
  std::mutex mutex;
  std::uint64_t epoch = 0;  // grows with each reset
  bool recording = false;
  std::vector<Call> calls;
  std::vector<PlannedFailure> failures;
  std::map<std::string, std::function<void()>> hooks;  // by function
  std::map<std::pair<AudioObjectID, AudioObjectPropertySelector>, Answer> objectAnswers;
  std::map<AudioUnitPropertyID, Answer> unitAnswers;
};

std::atomic<bool> active{false};  // a hint only: the state itself is guarded by its mutex

State& state() {
  static auto* only = new State;  // calls may come while the process exits
  return *only;
}

/// Applies `change` to the state and activates the script.
template <class Change>
void scriptThat(Change change) {
  const std::lock_guard lock(state().mutex);
  change(state());
  active.store(true);
}

/// Counts the call against every planned failure, and removes one whose turn has come.
std::optional<OSStatus> takeFailure(State& script, const char* name) {
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

std::function<void()> hookOf(const State& script, const char* name) {
  const auto found = script.hooks.find(name);
  return found == script.hooks.end() ? std::function<void()>() : found->second;
}

template <class Key>
std::optional<Answer> lookUp(const std::map<Key, Answer> State::*answers, const Key& key) {
  const std::lock_guard lock(state().mutex);
  const auto found = (state().*answers).find(key);
  return found == (state().*answers).end() ? std::nullopt : std::optional(found->second);
}

}  // namespace

bool isScripted() { return active.load(std::memory_order_relaxed); }

InterceptedCall::InterceptedCall(const char* name, std::initializer_list<std::int64_t> arguments,
                                 const void* data, std::size_t dataBytes) {
  State& script = state();
  std::unique_lock lock(script.mutex);
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
  if (const auto hook = hookOf(script, name)) {
    lock.unlock();
    hook();
  }
}

OSStatus InterceptedCall::finish(OSStatus status) const {
  State& script = state();
  const std::lock_guard lock(script.mutex);
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
  return lookUp(&State::objectAnswers, std::pair(object, selector));
}

std::optional<Answer> scriptedUnitProperty(AudioUnitPropertyID property) {
  if (!isScripted()) {
    return {};
  }
  return lookUp(&State::unitAnswers, property);
}

}  // namespace Platform

namespace AudioDevices::Script {

void answerObjectProperty(AudioObjectID object, AudioObjectPropertySelector selector,
                          Answer answer) {
  Platform::scriptThat([&](Platform::State& script) {
    script.objectAnswers[{object, selector}] = std::move(answer);
  });
}

void answerUnitProperty(AudioUnitPropertyID property, Answer answer) {
  Platform::scriptThat(
      [&](Platform::State& script) { script.unitAnswers[property] = std::move(answer); });
}

void failCall(const std::string& function, std::uint64_t nth, OSStatus status) {
  Platform::scriptThat([&](Platform::State& script) {
    script.failures.push_back({function, std::max<std::uint64_t>(nth, 1), status});
  });
}

void onCall(const std::string& function, std::function<void()> hook) {
  Platform::scriptThat([&](Platform::State& script) { script.hooks[function] = std::move(hook); });
}

void record() {
  Platform::scriptThat([](Platform::State& script) {
    if (!script.recording) {
      ++script.epoch;  // calls under way were not recorded
    }
    script.recording = true;
  });
}

std::vector<Call> calls() {
  const std::lock_guard lock(Platform::state().mutex);
  return Platform::state().calls;
}

void reset() {
  Platform::State& script = Platform::state();
  const std::lock_guard lock(script.mutex);
  Platform::active.store(false);
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
