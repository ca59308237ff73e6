#include "FakePlatform.h"

#include <algorithm>
#include <utility>

#include "AllocationWatch.h"
#include "Journal.h"

namespace {
constexpr AudioDeviceID kDevice = 40;
}

std::string codeText(UInt32 code) {
  if (code < 0x01000000) {
    return std::to_string(code);
  }
  std::string text = "'";
  for (int shift = 24; shift >= 0; shift -= 8) {
    text += static_cast<char>((code >> shift) & 0xFF);
  }
  return text + "'";
}

FakePlatform& FakePlatform::instance() {
  static FakePlatform platform;
  return platform;
}

void FakePlatform::reset() {
  clearScript();
  {
    std::lock_guard lock(m_lock);
    m_properties.clear();
    m_graphs.clear();
    m_ioProcs.clear();
    m_newestGraph = nullptr;
    m_calls = 0;
  }
  channelMap = {0, 1};
  setDefaultDevice(kDevice);
  setLayout(kDevice, kAudioChannelLayoutTag_Stereo);
  currentDevice.assign(sizeof(AudioDeviceID), 0);
  currentDevice[0] = kDevice;
}

void FakePlatform::fail(const std::string& function, OSStatus status, unsigned nth) {
  std::lock_guard lock(m_lock);
  m_failures[function][m_counts[function] + nth] = status;
}

void FakePlatform::failCall(unsigned nth, OSStatus status) {
  std::lock_guard lock(m_lock);
  m_failuresByNumber[m_calls + nth] = status;
}

void FakePlatform::onCall(const std::string& function, std::function<void()> hook) {
  std::lock_guard lock(m_lock);
  m_hooks[function] = std::move(hook);
}

void FakePlatform::clearScript() {
  std::lock_guard lock(m_lock);
  m_failures.clear();
  m_failuresByNumber.clear();
  m_hooks.clear();
  m_announcedSizes.clear();
  channelMapWriteStatus = noErr;
}

OSStatus FakePlatform::enter(const char* function, const std::string& arguments) {
  AllocationWatch::Pause pause;
  Journal::instance().add(std::string(function) + "(" + arguments + ")");
  std::function<void()> hook;
  OSStatus status = noErr;
  {
    std::lock_guard lock(m_lock);
    const unsigned number = ++m_calls;
    const auto& failures = m_failures[function];
    if (const auto found = failures.find(++m_counts[function]); found != failures.end()) {
      status = found->second;
    } else if (const auto at = m_failuresByNumber.find(number); at != m_failuresByNumber.end()) {
      status = at->second;
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

void FakePlatform::setProperty(AudioObjectID object, UInt32 selector, UInt32 scope,
                               const void* data, std::size_t bytes) {
  std::lock_guard lock(m_lock);
  const auto* first = static_cast<const std::uint8_t*>(data);
  m_properties[{object, selector, scope}].assign(first, first + bytes);
}

void FakePlatform::removeProperty(AudioObjectID object, UInt32 selector, UInt32 scope) {
  std::lock_guard lock(m_lock);
  m_properties.erase({object, selector, scope});
}

bool FakePlatform::hasProperty(AudioObjectID object, UInt32 selector, UInt32 scope) {
  std::lock_guard lock(m_lock);
  return m_properties.count({object, selector, scope}) != 0;
}

std::vector<std::uint8_t> FakePlatform::property(AudioObjectID object, UInt32 selector,
                                                 UInt32 scope) {
  std::lock_guard lock(m_lock);
  return m_properties[{object, selector, scope}];
}

void FakePlatform::announceSize(UInt32 selector, UInt32 bytes) {
  std::lock_guard lock(m_lock);
  m_announcedSizes[selector] = bytes;
}

UInt32 FakePlatform::announcedSize(UInt32 selector, UInt32 bytes) {
  std::lock_guard lock(m_lock);
  const auto found = m_announcedSizes.find(selector);
  return found != m_announcedSizes.end() ? found->second : bytes;
}

void FakePlatform::setDefaultDevice(AudioDeviceID device) {
  setProperty(kAudioObjectSystemObject, kAudioHardwarePropertyDefaultOutputDevice,
              kAudioObjectPropertyScopeGlobal, std::vector{device});
}

void FakePlatform::setLayout(AudioDeviceID device, AudioChannelLayoutTag tag,
                             const std::vector<AudioChannelLabel>& labels) {
  const UInt32 head[3] = {tag, 0, static_cast<UInt32>(labels.size())};
  std::vector<std::uint8_t> bytes(sizeof head + labels.size() * sizeof(AudioChannelDescription));
  std::memcpy(bytes.data(), head, sizeof head);
  for (std::size_t i = 0; i < labels.size(); ++i) {
    const AudioChannelDescription description{labels[i], 0, {0, 0, 0}};
    std::memcpy(bytes.data() + sizeof head + i * sizeof description, &description,
                sizeof description);
  }
  setProperty(device, kAudioDevicePropertyPreferredChannelLayout, kAudioDevicePropertyScopeOutput,
              bytes);
}

FakeGraph* FakePlatform::makeGraph() {
  std::lock_guard lock(m_lock);
  m_graphs.push_back(std::make_unique<FakeGraph>());
  FakeGraph* graph = m_graphs.back().get();
  graph->name = "graph" + std::to_string(m_graphs.size());
  graph->unit.name = "unit" + std::to_string(m_graphs.size());
  graph->unit.channelMap = channelMap;
  m_newestGraph = graph;
  return graph;
}

FakeGraph* FakePlatform::liveGraph() {
  std::lock_guard lock(m_lock);
  const auto found = std::find_if(m_graphs.rbegin(), m_graphs.rend(),
                                  [](const auto& graph) { return !graph->disposed; });
  return found != m_graphs.rend() ? found->get() : nullptr;
}

unsigned FakePlatform::liveGraphs() {
  std::lock_guard lock(m_lock);
  return static_cast<unsigned>(std::count_if(m_graphs.begin(), m_graphs.end(),
                                             [](const auto& graph) { return !graph->disposed; }));
}

UInt32 FakePlatform::addIOProc(const FakeIOProc& proc) {
  std::lock_guard lock(m_lock);
  m_ioProcs.push_back(proc);
  return static_cast<UInt32>(m_ioProcs.size());
}

FakeIOProc* FakePlatform::findIOProc(AudioDeviceIOProcID id) {
  std::lock_guard lock(m_lock);
  const auto number = reinterpret_cast<std::uintptr_t>(id) / 16;
  return number >= 1 && number <= m_ioProcs.size() ? &m_ioProcs[number - 1] : nullptr;
}

FakeIOProc* FakePlatform::ioProc() {
  std::lock_guard lock(m_lock);
  const auto found = std::find_if(m_ioProcs.rbegin(), m_ioProcs.rend(),
                                  [](const auto& proc) { return !proc.destroyed; });
  return found != m_ioProcs.rend() ? &*found : nullptr;
}

unsigned FakePlatform::liveIOProcs() {
  std::lock_guard lock(m_lock);
  return static_cast<unsigned>(std::count_if(m_ioProcs.begin(), m_ioProcs.end(),
                                             [](const auto& proc) { return !proc.destroyed; }));
}
