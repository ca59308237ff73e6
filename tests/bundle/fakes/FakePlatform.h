// SPDX-License-Identifier: MIT

#pragma once

#include <AudioToolbox/AudioToolbox.h>
#include <AudioUnit/AudioUnit.h>
#include <CoreAudio/CoreAudio.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "FakeBuffer.h"
#include "Journal.h"
#include "check/bench/LayoutRecord.h"

using Check::layoutRecord;

inline constexpr AudioDeviceID kDevice = 40;  // the default output device after a reset

/// A graph's output unit as the fake keeps it; alive from AUGraphOpen to AUGraphClose.
struct FakeUnit {
  std::string name;
  std::atomic<bool> alive{false};
  std::atomic<int> callsInside{0};
  AudioStreamBasicDescription streamFormat{};
  AURenderCallbackStruct callback{};
  std::vector<SInt32> channelMap;
  std::atomic<float> volume{-1.0F};  // -1: never set
};

/// Alive until AUGraphClose.
struct FakeGraph {
  std::string name;
  std::atomic<bool> alive{true};
  std::atomic<bool> disposed{false};
  std::atomic<bool> running{false};
  std::atomic<int> callsInside{0};
  FakeUnit unit;
};

/// One registration of an I/O procedure.
struct FakeIOProc {
  AudioObjectID device = 0;
  AudioDeviceIOProc procedure = nullptr;
  void* clientData = nullptr;
  bool running = false;
  bool destroyed = false;
};

/// The audio service in front of the bundle: every C function of the three platform headers, with
/// scripted results. Each call goes to the Journal as "Function(arguments)". A call on a graph or
/// unit that is gone, and one that ends it while another call is inside, are violations; so is an
/// object destroyed twice. A scripted failure of a call that ends something still ends it.
/// [any-thread], but for what has no lock
class FakePlatform {
 public:
  static FakePlatform& instance() {
    static FakePlatform platform;
    return platform;
  }

  /// Nothing registered, nothing scripted, one stereo device.
  void reset() {
    {
      std::lock_guard lock(m_lock);
      m_failures.clear();
      m_hooks.clear();
      m_graphs.clear();
      m_ioProcs.clear();
      m_newestGraph = nullptr;
      m_calls = 0;
    }
    channelMap = {0, 1};
    currentDevice = {kDevice, 0, 0, 0};
    announcedSizes.clear();
    properties.clear();
    setProperty(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice,
                kAudioObjectPropertyScopeGlobal, std::vector{kDevice});
    setLayout(kAudioChannelLayoutTag_Stereo);
  }

  // The script. Calls are counted from now; "": the n-th call of any function.
  void fail(const std::string& function, OSStatus status, unsigned nth = 1) {
    std::lock_guard lock(m_lock);
    m_failures.push_back({function, nth, status});
  }

  /// Runs `hook` inside each call of the function.
  void onCall(const std::string& function, std::function<void()> hook) {
    std::lock_guard lock(m_lock);
    m_hooks[function] = std::move(hook);
  }

  std::vector<SInt32> channelMap;
  Bytes currentDevice;  // bytes that the unit answers

  // Properties of objects, as bytes, by object, selector and scope. [host-thread]
  std::map<std::array<UInt32, 3>, Bytes> properties;
  std::map<UInt32, UInt32> announcedSizes;  // by selector: what DataSize answers instead
  template <class T>
  void setProperty(AudioObjectID object, UInt32 selector, UInt32 scope,
                   const std::vector<T>& values) {
    const auto* first = reinterpret_cast<const std::uint8_t*>(values.data());
    properties[{object, selector, scope}].assign(first, first + values.size() * sizeof(T));
  }

  void setLayout(AudioChannelLayoutTag tag, const std::vector<AudioChannelLabel>& labels = {}) {
    setProperty(kDevice, kAudioDevicePropertyPreferredChannelLayout,
                kAudioDevicePropertyScopeOutput, layoutRecord(tag, labels));
  }

  /// The newest that is not disposed of; null: none.
  FakeGraph* liveGraph() {
    std::lock_guard lock(m_lock);
    const auto found = std::find_if(m_graphs.rbegin(), m_graphs.rend(),
                                    [](const auto& graph) { return !graph->disposed; });
    return found != m_graphs.rend() ? found->get() : nullptr;
  }

  FakeGraph* newestGraph() const { return m_newestGraph; }  // takes no lock; null: none yet

  /// The newest that is not destroyed; null: none.
  FakeIOProc* ioProc() {
    std::lock_guard lock(m_lock);
    const auto found = std::find_if(m_ioProcs.rbegin(), m_ioProcs.rend(),
                                    [](const auto& proc) { return !proc.destroyed; });
    return found != m_ioProcs.rend() ? &*found : nullptr;
  }

  unsigned calls() const { return m_calls; }  // since reset

  /// A thread that plays the device's part calls under this; stop, close and destroy wait for it.
  std::recursive_mutex& cycle() { return m_cycle; }

  /// What every C function begins with: its line, its hook, and the status scripted for it.
  OSStatus enter(const char* function, const std::string& arguments) {
    Journal::instance().add(std::string(function) + "(" + arguments + ")");
    std::function<void()> hook;
    OSStatus status = noErr;
    {
      std::lock_guard lock(m_lock);
      ++m_calls;
      for (Failure& failure : m_failures) {
        if ((failure.function.empty() || failure.function == function) &&
            --failure.callsToGo == 0) {
          status = failure.status;
        }
      }
      if (const auto found = m_hooks.find(function); found != m_hooks.end()) {
        hook = found->second;
      }
    }
    if (hook) {
      hook();
    }
    return status;
  }

  FakeGraph* makeGraph() {
    std::lock_guard lock(m_lock);
    m_newestGraph = m_graphs.emplace_back(std::make_unique<FakeGraph>()).get();
    FakeGraph* graph = m_newestGraph;
    graph->name = "graph" + std::to_string(m_graphs.size());
    graph->unit.name = "unit" + std::to_string(m_graphs.size());
    graph->unit.channelMap = channelMap;
    return graph;
  }

  FakeIOProc* addIOProc(const FakeIOProc& proc) {
    std::lock_guard lock(m_lock);
    return &m_ioProcs.emplace_back(proc);
  }

 private:
  struct Failure {
    std::string function;
    unsigned callsToGo;
    OSStatus status;
  };

  std::mutex m_lock;
  std::recursive_mutex m_cycle;
  std::vector<Failure> m_failures;
  std::map<std::string, std::function<void()>> m_hooks;
  std::deque<std::unique_ptr<FakeGraph>> m_graphs;  // the dead ones too
  std::deque<FakeIOProc> m_ioProcs;
  std::atomic<FakeGraph*> m_newestGraph{nullptr};
  std::atomic<unsigned> m_calls{0};
};
