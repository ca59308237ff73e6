// SPDX-License-Identifier: MIT

#pragma once

/// Graphs of one output unit, and the handles of graphs and units that clients see. A handle is a
/// number that is never reused, so a stale one is detected.

#include <AudioToolbox/AudioToolbox.h>

#include <cstddef>
#include <memory>

#include "platform/device/ModelLock.h"
#include "platform/unit/OutputUnit.h"

namespace Platform {

class Graph {
 public:
  OSStatus addNode(const AudioComponentDescription& description, AUNode& node);
  OSStatus open();
  OSStatus nodeInfo(AUNode node, AudioComponentDescription* description, AudioUnit* unit) const;
  OSStatus initialize();
  OSStatus start();
  OSStatus stop();
  bool isRunning() const;
  OSStatus close();

 private:
  std::shared_ptr<OutputUnit> unit() const;

  AUNode m_node TAVRO_GUARDED_BY(modelLock()) = 0;  // 0 if none
  bool m_initialized TAVRO_GUARDED_BY(modelLock()) = false;
  AudioUnit m_unitHandle TAVRO_GUARDED_BY(modelLock()) = nullptr;  // null if not open
};

/// Each returns null or false for an unknown handle. [any-thread]
AUGraph newGraph();
std::shared_ptr<Graph> findGraph(AUGraph handle);
bool disposeGraph(AUGraph handle);
std::shared_ptr<OutputUnit> findUnit(AudioUnit handle);

struct HandleCounts {
  std::size_t graphs;
  std::size_t units;
};
HandleCounts handleCounts();

}  // namespace Platform
