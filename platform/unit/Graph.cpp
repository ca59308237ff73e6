// SPDX-License-Identifier: MIT

#include "platform/unit/Graph.h"

#include <cstdint>
#include <map>
#include <utility>
#include <vector>

#include "platform/manager/DeviceManager.h"

namespace Platform {
namespace {

constexpr AUNode kOnlyNode = 1;

/// Handles to objects.
template <class Handle, class Object>
class HandleTable {
 public:
  Handle add(std::shared_ptr<Object> object) {
    const auto handle = reinterpret_cast<Handle>(m_next += 16);
    m_objects.emplace(handle, std::move(object));
    return handle;
  }
  std::shared_ptr<Object> find(Handle handle) const {
    const auto found = m_objects.find(handle);
    return found == m_objects.end() ? nullptr : found->second;
  }
  /// Returns the object, which the caller should release outside the lock.
  std::shared_ptr<Object> remove(Handle handle) {
    auto node = m_objects.extract(handle);
    return node ? std::move(node.mapped()) : nullptr;
  }
  std::vector<std::shared_ptr<Object>> all() const {
    std::vector<std::shared_ptr<Object>> objects;
    objects.reserve(m_objects.size());
    for (const auto& [handle, object] : m_objects) {
      objects.push_back(object);
    }
    return objects;
  }
  std::size_t size() const { return m_objects.size(); }

 private:
  std::map<Handle, std::shared_ptr<Object>> m_objects;
  std::uintptr_t m_next = 0;
};

struct Handles {
  HandleTable<AUGraph, Graph> graphs;
  HandleTable<AudioUnit, OutputUnit> units;
};

Handles& handles() TAVRO_REQUIRES(modelLock()) {
  static auto* tables = new Handles;  // see DeviceManager::instance()
  return *tables;
}

bool isDefaultOutput(const AudioComponentDescription& description) {
  return description.componentType == kAudioUnitType_Output &&
         description.componentSubType == kAudioUnitSubType_DefaultOutput &&
         description.componentManufacturer == kAudioUnitManufacturer_Apple;
}

/// Moves the units that follow the default output device to the present one. They stay where they
/// are if there is none, or if this is called inside a cycle of theirs. [host-thread]
void followDefaultDevice() {
  const auto target = DeviceManager::instance().defaultDevice();
  if (!target) {
    return;
  }
  std::vector<std::shared_ptr<OutputUnit>> units;
  {
    const Tavro::Lock model(modelLock());
    units = handles().units.all();
  }
  for (const auto& unit : units) {
    const auto current = unit->device();
    if (current != target && !(current && current->inCycle())) {
      unit->followDefault();
    }
  }
}

}  // namespace

AUGraph newGraph() {
  DeviceManager::instance().setDefaultFollower(followDefaultDevice);
  auto graph = std::make_shared<Graph>();
  const Tavro::Lock model(modelLock());
  return handles().graphs.add(std::move(graph));
}

std::shared_ptr<Graph> findGraph(AUGraph handle) {
  const Tavro::Lock model(modelLock());
  return handles().graphs.find(handle);
}

std::shared_ptr<OutputUnit> findUnit(AudioUnit handle) {
  const Tavro::Lock model(modelLock());
  return handles().units.find(handle);
}

bool disposeGraph(AUGraph handle) {
  const auto graph = findGraph(handle);
  if (!graph) {
    return false;
  }
  graph->close();
  const Tavro::Lock model(modelLock());
  return handles().graphs.remove(handle) != nullptr;
}

HandleCounts handleCounts() {
  const Tavro::Lock model(modelLock());
  return {.graphs = handles().graphs.size(), .units = handles().units.size()};
}

OSStatus Graph::addNode(const AudioComponentDescription& description, AUNode& node) {
  if (!isDefaultOutput(description)) {
    return kAUGraphErr_InvalidAudioUnit;
  }
  const Tavro::Lock model(modelLock());
  if (m_node != 0) {
    return kAUGraphErr_OutputNodeErr;
  }
  if (m_unitHandle != nullptr) {
    return kAUGraphErr_CannotDoInCurrentContext;
  }
  node = m_node = kOnlyNode;
  return noErr;
}

OSStatus Graph::open() {
  auto made = std::make_shared<OutputUnit>(DeviceManager::instance().defaultDevice());
  {
    const Tavro::Lock model(modelLock());
    if (m_node == 0) {
      return kAUGraphErr_OutputNodeErr;
    }
    if (m_unitHandle == nullptr) {
      m_unitHandle = handles().units.add(std::move(made));
    }
  }
  followDefaultDevice();  // it may have changed before the unit was known
  return noErr;
}

OSStatus Graph::nodeInfo(AUNode node, AudioComponentDescription* description,
                         AudioUnit* unit) const {
  const Tavro::Lock model(modelLock());
  if (m_node == 0 || node != m_node) {
    return kAUGraphErr_NodeNotFound;
  }
  if (unit != nullptr && m_unitHandle == nullptr) {
    return kAUGraphErr_InvalidAudioUnit;
  }
  if (description != nullptr) {
    *description = {.componentType = kAudioUnitType_Output,
                    .componentSubType = kAudioUnitSubType_DefaultOutput,
                    .componentManufacturer = kAudioUnitManufacturer_Apple,
                    .componentFlags = 0,
                    .componentFlagsMask = 0};
  }
  if (unit != nullptr) {
    *unit = m_unitHandle;
  }
  return noErr;
}

std::shared_ptr<OutputUnit> Graph::unit() const {
  const Tavro::Lock model(modelLock());
  return handles().units.find(m_unitHandle);
}

OSStatus Graph::initialize() {
  const auto opened = unit();
  if (!opened) {
    return kAUGraphErr_CannotDoInCurrentContext;
  }
  const auto device = opened->device();
  if (!device || !device->isAlive()) {
    return kAudioHardwareBadDeviceError;
  }
  const Tavro::Lock model(modelLock());
  m_initialized = true;
  return noErr;
}

OSStatus Graph::start() {
  const auto opened = unit();
  {
    const Tavro::Lock model(modelLock());
    if (!opened || !m_initialized) {
      return kAudioUnitErr_Uninitialized;
    }
  }
  return opened->start();
}

OSStatus Graph::stop() {
  if (const auto opened = unit()) {
    opened->stop();
  }
  return noErr;
}

bool Graph::isRunning() const {
  const auto opened = unit();
  return opened && opened->isRunning();
}

OSStatus Graph::close() {
  const auto opened = unit();
  if (opened) {
    opened->shutDown();
  }
  const Tavro::Lock model(modelLock());
  handles().units.remove(m_unitHandle);  // `opened` releases it after the lock
  m_unitHandle = nullptr;
  m_initialized = false;
  return noErr;
}

}  // namespace Platform
